#include "setup/PhotoAccess.h"

#include <algorithm>

#include <QFileInfo>
#include <QPointer>
#include <QStandardPaths>

#include "app/UserDefaults.h"
#include "platform/FileReveal.h"

namespace mnemora {

namespace {

const QString kDetermined = QString::fromLatin1(UserDefaults::photosStatusDetermined);

bool folderReadable(const QString& path) {
    const QFileInfo info(path);
    if (!info.exists()) {
        return true;
    }
    // Listing is what indexing needs: a directory that cannot be opened reads as refused.
    return info.isDir() && info.isReadable() && info.isExecutable();
}

QCoro::Task<> lookAgain(QPointer<PhotoAccess> access) {
    if (access) {
        access->recheck();
        if (access->state() != PhotoAccess::State::refused) {
            access->stopWatching();
        }
    }
    co_return;
}

} // namespace

PhotoAccess::PhotoAccess(QStringList folders, QObject* parent)
    : QObject(parent)
    , folders_(std::move(folders)) {
    recheck();
}

QStringList PhotoAccess::defaultFolders() {
    return {QStandardPaths::writableLocation(QStandardPaths::PicturesLocation)};
}

bool PhotoAccess::readable(const QStringList& folders) {
    return std::all_of(folders.cbegin(), folders.cend(), folderReadable);
}

QString PhotoAccess::stateWord() const {
    switch (state_) {
    case State::granted:
        return QStringLiteral("granted");
    case State::refused:
        return QStringLiteral("refused");
    case State::undetermined:
        break;
    }
    return QStringLiteral("undetermined");
}

void PhotoAccess::request() {
    UserDefaults().setBool(kDetermined, true);
    recheck();
}

void PhotoAccess::recheck() {
    if (!UserDefaults().boolValue(kDetermined)) {
        setState(State::undetermined);
        return;
    }
    setState(readable(folders_) ? State::granted : State::refused);
}

void PhotoAccess::openSettings() const {
    for (const QString& folder : folders_) {
        if (!folderReadable(folder)) {
            FileReveal::reveal(folder);
            return;
        }
    }
}

void PhotoAccess::watch(std::chrono::milliseconds interval) {
    if (state_ != State::refused || watching_.isActive()) {
        return;
    }
    QPointer<PhotoAccess> self(this);
    CancellableLoop::start(watching_, interval, CancellableLoop::FirstPass::afterInterval,
                           [self] { return lookAgain(self); });
}

void PhotoAccess::setState(State state) {
    if (state_ != state) {
        state_ = state;
        emit changed();
    }
}

} // namespace mnemora
