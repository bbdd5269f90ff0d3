#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QString>

#include "sync/ConflictsFile.h"

namespace mnemora {

// The shell's quiet line about block versions that lost a sync conflict and have not been shown
// yet: "Kept {n} edits that lost a conflict — review". Review opens the vault's conflicts file in
// the desktop's editor and counts its entries as shown. The file is watched, so the line follows
// the bridge's appends and the person's own edits of it.
class ConflictsNotice : public QObject {
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY changed)
    Q_PROPERTY(QString line READ line NOTIFY changed)

public:
    explicit ConflictsNotice(const QString& vaultRoot, QObject* parent = nullptr);

    int count() const { return count_; }
    // Empty when there is nothing new.
    QString line() const;
    const ConflictsFile& file() const { return file_; }

    Q_INVOKABLE void review();

    // The vault moved, or its configuration was read after the shell was made.
    void setVaultRoot(const QString& vaultRoot);

signals:
    void changed();

private:
    void refresh();
    void watch();

    QString vaultRoot_;
    ConflictsFile file_;
    QFileSystemWatcher watcher_;
    int count_ = 0;
};

} // namespace mnemora
