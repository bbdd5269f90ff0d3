#pragma once

#include "cloud/Record.h"

#include <QString>

#include <optional>

namespace mnemora {

// Why the record store did not do what it was asked. The numbers are those the phone companion
// and the sync code already speak: 14 is a save against a record that changed on the server, 11 a
// record that is not there.
struct RecordStoreError {
    enum class Code {
        internalError = 1,
        networkUnavailable = 3,
        networkFailure = 4,
        serviceUnavailable = 6,
        requestRateLimited = 7,
        notAuthenticated = 9,
        permissionFailure = 10,
        unknownItem = 11,
        invalidArguments = 12,
        serverRecordChanged = 14,
        serverRejectedRequest = 15,
        assetFileNotFound = 16,
        operationCancelled = 20,
    };

    Code code = Code::internalError;
    QString message;                    // the words a person reads
    std::optional<Record> serverRecord; // serverRecordChanged: the record as the server has it

    int number() const { return static_cast<int>(code); }

    // The failures every store words alike.
    static RecordStoreError make(Code code, const QString& message);
    static RecordStoreError serverChanged(const Record& serverRecord);
    static RecordStoreError unknownItem(const RecordID& id);
    static RecordStoreError unreachable(const QString& host, const QString& reason);
    static RecordStoreError closed();
    static RecordStoreError assetUnreadable(const QString& filePath, const QString& fieldName,
                                            const QString& reason);
    static RecordStoreError assetMissing(const RecordID& id, const QString& fieldName);
    static RecordStoreError fileNotWritten(const QString& filePath, const QString& reason);

    // A failure that says nothing about the change itself: the same request may succeed later.
    bool isTransient() const;

    bool operator==(const RecordStoreError&) const = default;
};

} // namespace mnemora
