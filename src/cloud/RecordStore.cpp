#include "cloud/RecordStore.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

namespace mnemora {

std::optional<RecordStoreError> RecordStore::writeAssetFile(const QString& filePath,
                                                            const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(filePath).absolutePath());
    QSaveFile file(filePath);
    if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit()) {
        return std::nullopt;
    }
    return RecordStoreError::fileNotWritten(filePath, file.errorString());
}

} // namespace mnemora
