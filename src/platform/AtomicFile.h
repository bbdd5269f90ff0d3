#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace mnemora::platform {

// Replaces a file's contents atomically: the bytes go to a temporary file beside it that is then
// renamed over it, so a reader sees the old file or the new one, never a mix. A short write (a full
// disk, a file size limit) fails the whole write and leaves the old file as it was. Gives the
// system's description of a failure, none on success.
std::optional<QString> writeFileAtomically(const QString& path, const QByteArray& bytes);

} // namespace mnemora::platform
