#include "platform/AtomicFile.h"

#include <QSaveFile>

namespace mnemora::platform {

std::optional<QString> writeFileAtomically(const QString& path, const QByteArray& bytes) {
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

} // namespace mnemora::platform
