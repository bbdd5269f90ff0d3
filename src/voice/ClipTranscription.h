#pragma once

#include <QByteArray>
#include <QPointer>
#include <QString>

#include <QCoroTask>

#include <functional>

#include "platform/Expected.h"

namespace mnemora {

class DaemonService;

// Turns one clip into words through the daemon: the clip goes up as a throw-away recording, and
// the daemon's progress stream is followed until that file's transcription is done or failed.
// Nothing else of the stream matters here; it carries the whole daemon's events.
namespace ClipTranscription {

using Progress = std::function<void(double percent)>;

QCoro::Task<Expected<QString>> transcribe(QPointer<DaemonService> daemon, QByteArray clip,
                                          Progress onProgress = {});

} // namespace ClipTranscription

} // namespace mnemora
