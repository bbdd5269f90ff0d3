#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace mnemora {

// What a write does with a file that exists but may not be written to.
enum class ReadOnlyFile {
    refuse,  // fail with the system's words, as the file's mode asks
    replace, // replace it all the same, the new file keeping the old one's mode
};

// Replaces a file's contents atomically: the bytes go to a temporary file beside it that is then
// renamed over it, so a reader sees the old file or the new one, never a mix. A short write (a full
// disk, a file size limit) fails the whole write and leaves the old file as it was. Gives the
// system's description of a failure, none on success.
std::optional<QString> writeFileAtomically(const QString& path, const QByteArray& bytes,
                                           ReadOnlyFile readOnly = ReadOnlyFile::refuse);

// A whole file's bytes; none when it cannot be opened for reading.
std::optional<QByteArray> readWholeFile(const QString& path);

} // namespace mnemora
