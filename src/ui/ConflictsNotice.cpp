#include "ui/ConflictsNotice.h"

#include "platform/FileReveal.h"

#include <QFileInfo>

namespace mnemora {

ConflictsNotice::ConflictsNotice(const QString& vaultRoot, QObject* parent)
    : QObject(parent)
    , vaultRoot_(vaultRoot)
    , file_(ConflictsFile::pathIn(vaultRoot)) {
    // The file is replaced whole at each append, and its folder may come later: the folders are
    // watched along with it, and the watch is renewed at each change.
    connect(&watcher_, &QFileSystemWatcher::directoryChanged, this, &ConflictsNotice::refresh);
    connect(&watcher_, &QFileSystemWatcher::fileChanged, this, &ConflictsNotice::refresh);
    refresh();
}

void ConflictsNotice::setVaultRoot(const QString& vaultRoot) {
    if (vaultRoot == vaultRoot_) {
        return;
    }
    vaultRoot_ = vaultRoot;
    file_ = ConflictsFile(ConflictsFile::pathIn(vaultRoot));
    const QStringList watched = watcher_.files() + watcher_.directories();
    if (!watched.isEmpty()) {
        watcher_.removePaths(watched);
    }
    refresh();
}

void ConflictsNotice::watch() {
    for (const QString& path : {vaultRoot_, QFileInfo(file_.path()).absolutePath(), file_.path()}) {
        if (QFileInfo::exists(path) && !watcher_.files().contains(path) &&
            !watcher_.directories().contains(path)) {
            watcher_.addPath(path);
        }
    }
}

void ConflictsNotice::refresh() {
    watch();
    const int count = static_cast<int>(file_.unreviewed());
    if (count != count_) {
        count_ = count;
        emit changed();
    }
}

QString ConflictsNotice::line() const {
    return count_ > 0 ? QStringLiteral("Kept %1 edits that lost a conflict — review").arg(count_)
                      : QString();
}

void ConflictsNotice::review() {
    FileReveal::open(file_.path());
    // Shown once opened; a failure to note it only shows the same entries again.
    (void)file_.markReviewed();
    refresh();
}

} // namespace mnemora
