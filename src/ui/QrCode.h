#pragma once

#include <QList>
#include <QString>

#include <optional>

namespace mnemora {

// A QR code as a square of modules, for a screen to draw: a phone's camera opens the text it
// holds. Error correction is medium, so a code shown on a glossy screen still reads.
struct QrCode {
    int size = 0;          // modules along each side, without the quiet zone
    QList<bool> modules{}; // row by row from the top left; true is dark

    bool isDark(int x, int y) const { return modules.at(y * size + x); }

    // None when the text does not fit a QR code or the encoder fails.
    static std::optional<QrCode> encode(const QString& text);
};

} // namespace mnemora
