#include "platform/AtomicFile.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mnemora {

namespace {

QString systemError() {
    return QString::fromLocal8Bit(std::strerror(errno));
}

bool writeAll(int fd, const QByteArray& bytes) {
    qint64 written = 0;
    while (written < bytes.size()) {
        const ssize_t step =
            ::write(fd, bytes.constData() + written, static_cast<size_t>(bytes.size() - written));
        if (step < 0 && errno == EINTR) {
            continue;
        }
        if (step <= 0) {
            if (step == 0) {
                errno = EIO;
            }
            return false;
        }
        written += step;
    }
    return true;
}

// A read-only file may not be opened for writing, but the folder lets us put a new file in its
// place: the same steps as a save file, with the old file's mode given to the new one.
std::optional<QString> replaceReadOnly(const QString& path, const QByteArray& bytes) {
    const QFileInfo info(path);
    const QString target = info.isSymLink() ? info.canonicalFilePath() : info.absoluteFilePath();
    const QByteArray targetName = QFile::encodeName(target);
    struct stat status {};
    if (::stat(targetName.constData(), &status) != 0) {
        return systemError();
    }
    const QFileInfo targetInfo(target);
    QByteArray temporary = QFile::encodeName(targetInfo.absolutePath() + QStringLiteral("/.") +
                                             targetInfo.fileName() + QStringLiteral(".XXXXXX"));
    const int fd = ::mkstemp(temporary.data());
    if (fd < 0) {
        return systemError();
    }
    const bool written =
        writeAll(fd, bytes) && ::fchmod(fd, status.st_mode & 07777) == 0 && ::fsync(fd) == 0;
    const QString writeError = written ? QString() : systemError();
    const bool closed = ::close(fd) == 0;
    if (!written || !closed || ::rename(temporary.constData(), targetName.constData()) != 0) {
        const QString message = written ? systemError() : writeError;
        ::unlink(temporary.constData());
        return message;
    }
    return std::nullopt;
}

} // namespace

std::optional<QString> writeFileAtomically(const QString& path, const QByteArray& bytes,
                                           ReadOnlyFile readOnly) {
    if (readOnly == ReadOnlyFile::replace) {
        const QFileInfo existing(path);
        if (existing.isFile() && !existing.isWritable()) {
            return replaceReadOnly(path, bytes);
        }
    }
    QSaveFile file(path);
    // Unbuffered, so that a short write shows here: a buffered QSaveFile can commit a cut file.
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered)) {
        return file.errorString();
    }
    qint64 written = 0;
    while (written < bytes.size()) {
        const qint64 step = file.write(bytes.constData() + written, bytes.size() - written);
        if (step <= 0) {
            const QString message = file.errorString();
            file.cancelWriting();
            file.commit(); // discards the temporary file
            return message;
        }
        written += step;
    }
    if (!file.commit()) {
        return file.errorString();
    }
    return std::nullopt;
}

std::optional<QByteArray> readWholeFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    return file.readAll();
}

} // namespace mnemora
