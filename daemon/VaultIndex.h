#pragma once

#include <QString>

#include <memory>

#include "IndexRows.h"
#include "platform/Expected.h"

namespace SQLite {
class Database;
}

namespace mnemora::refdaemon {

// The daemon's index, `registry_index.sqlite` in write-ahead-log mode, kept equal to the vault's
// files. The application opens it read-only; this is its only writer.
class VaultIndex {
public:
    struct Changes {
        bool questions = false;
        bool periodClose = false;
        bool any() const { return questions || periodClose; }
    };

    VaultIndex(QString vaultPath, QString indexPath);
    ~VaultIndex();

    Expected<void> open();
    // Reads the vault's files again and rewrites the tables whose rows differ.
    Changes refresh();
    // Items waiting for work; this daemon queues none beyond running transcriptions.
    int questionCount() const { return questionRows_.rows.size(); }

private:
    bool replace(IndexRows& held, IndexRows fresh, const char* where);

    QString vaultPath_;
    QString indexPath_;
    std::unique_ptr<SQLite::Database> db_;
    IndexRows questionRows_;
    IndexRows runRows_;
    IndexRows materialRows_;
};

} // namespace mnemora::refdaemon
