#include "cloud/RecordStoreError.h"

namespace mnemora {

bool RecordStoreError::isTransient() const {
    switch (code) {
    case Code::networkUnavailable:
    case Code::networkFailure:
    case Code::serviceUnavailable:
    case Code::requestRateLimited:
        return true;
    default:
        return false;
    }
}

RecordStoreError RecordStoreError::make(Code code, const QString& message) {
    return RecordStoreError{.code = code, .message = message, .serverRecord = std::nullopt};
}

RecordStoreError RecordStoreError::serverChanged(const Record& serverRecord) {
    return RecordStoreError{
        .code = Code::serverRecordChanged,
        .message = QStringLiteral("The record %1 was changed on the server since it was read.")
                       .arg(serverRecord.recordID().recordName),
        .serverRecord = serverRecord};
}

RecordStoreError RecordStoreError::unknownItem(const RecordID& id) {
    return make(Code::unknownItem,
                QStringLiteral("The record %1 is not on the server.").arg(id.recordName));
}

RecordStoreError RecordStoreError::unreachable(const QString& host, const QString& reason) {
    return make(
        Code::networkUnavailable,
        QStringLiteral("The record store at %1 could not be reached: %2").arg(host, reason));
}

RecordStoreError RecordStoreError::closed() {
    return make(Code::operationCancelled, QStringLiteral("The record store was closed."));
}

RecordStoreError RecordStoreError::assetUnreadable(const QString& filePath,
                                                   const QString& fieldName,
                                                   const QString& reason) {
    return make(Code::assetFileNotFound,
                QStringLiteral("The file %1 for the field %2 could not be read: %3")
                    .arg(filePath, fieldName, reason));
}

RecordStoreError RecordStoreError::assetMissing(const RecordID& id, const QString& fieldName) {
    return make(Code::unknownItem,
                QStringLiteral("The record %1 has no file in %2.").arg(id.recordName, fieldName));
}

RecordStoreError RecordStoreError::fileNotWritten(const QString& filePath, const QString& reason) {
    return make(Code::internalError,
                QStringLiteral("The file %1 could not be written: %2").arg(filePath, reason));
}

} // namespace mnemora
