#include "ui/QrCode.h"

#include <qrencode.h>

#include <memory>

namespace mnemora {

std::optional<QrCode> QrCode::encode(const QString& text) {
    const QByteArray bytes = text.toUtf8();
    std::unique_ptr<QRcode, decltype(&QRcode_free)> code(
        QRcode_encodeString8bit(bytes.constData(), 0, QR_ECLEVEL_M), &QRcode_free);
    if (!code || code->width <= 0) {
        return std::nullopt;
    }
    QrCode result;
    result.size = code->width;
    result.modules.reserve(result.size * result.size);
    for (int i = 0; i < result.size * result.size; ++i) {
        // The lowest bit of each byte is the module's colour; the others say what it is part of.
        result.modules.append((code->data[i] & 1) != 0);
    }
    return result;
}

} // namespace mnemora
