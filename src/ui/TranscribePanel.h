#pragma once

#include <QString>
#include <QVariantMap>

#include "voice/TranscribeStore.h"

namespace mnemora {

// What the live panel of the Transcribe screen shows for the live state, first fitting case:
// no access, a finished text, a running watch, a recording to offer, or idle.
struct TranscribePanel {
    enum class Kind { noAccess, finished, watching, recordingDetected, idle };

    Kind kind = Kind::idle;
    QString headline;
    QString detail;         // the text, or a second sentence
    QString status;         // while watching
    double progress = -1.0; // 0 to 1 while the duration is known, else -1
    QStringList buttons;
    QStringList chips;

    static TranscribePanel of(const VoiceMemosLive& live, const QString& brandName);
    QVariantMap toVariant() const;
};

} // namespace mnemora
