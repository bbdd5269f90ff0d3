#include "ui/TranscribePanel.h"

#include <algorithm>

#include "voice/AnswerControlState.h"

namespace mnemora {

namespace {

QString seconds(double value) {
    return AnswerText::clock(static_cast<int>(value));
}

} // namespace

TranscribePanel TranscribePanel::of(const VoiceMemosLive& live, const QString& brandName) {
    TranscribePanel panel;
    if (live.recordingDetected) {
        panel.chips << QStringLiteral("Recording detected");
    }
    if (live.finished) {
        panel.chips << QStringLiteral("Transcription saved");
    }
    if (!live.captureAccessible) {
        panel.kind = Kind::noAccess;
        panel.headline = QStringLiteral("Full Disk Access required");
        panel.detail = QStringLiteral("After enabling Full Disk Access, restart %1 for the "
                                      "permission to take effect.")
                           .arg(brandName);
        panel.buttons = {QStringLiteral("Open Settings"), QStringLiteral("Recheck")};
    } else if (live.finished && !live.accumulatedText.isEmpty()) {
        panel.kind = Kind::finished;
        panel.headline =
            QStringLiteral("Completed: %1 transcribed").arg(seconds(live.transcribedSeconds));
        panel.detail = live.accumulatedText;
        panel.buttons = {QStringLiteral("Dismiss")};
    } else if (live.watching) {
        panel.kind = Kind::watching;
        panel.status = live.transcribedSeconds > 0 ? QStringLiteral("Transcribed: %1 / %2")
                                                         .arg(seconds(live.transcribedSeconds),
                                                              seconds(live.currentDuration))
                                                   : QStringLiteral("Listening for audio…");
        if (live.currentDuration > 0) {
            panel.progress = std::min(live.transcribedSeconds / live.currentDuration, 1.0);
        }
        panel.detail = !live.accumulatedText.isEmpty() ? live.accumulatedText
                       : live.currentDuration == 0
                           ? QStringLiteral("Initializing — detecting recording duration…")
                           : QString();
        panel.buttons = {QStringLiteral("Stop watching")};
    } else if (live.recordingDetected) {
        panel.kind = Kind::recordingDetected;
        panel.headline = QStringLiteral("Voice Memos is recording. Start live transcription?");
        panel.buttons = {QStringLiteral("Start live transcription")};
    } else {
        panel.headline = QStringLiteral("Idle. Open Voice Memos.app and start a new recording — "
                                        "live transcription will appear here as you speak.");
    }
    return panel;
}

QVariantMap TranscribePanel::toVariant() const {
    return {{QStringLiteral("headline"), headline}, {QStringLiteral("detail"), detail},
            {QStringLiteral("status"), status},     {QStringLiteral("progress"), progress},
            {QStringLiteral("buttons"), buttons},   {QStringLiteral("chips"), chips}};
}

} // namespace mnemora
