#pragma once

#include <QObject>
#include <QStringList>

#include <chrono>

#include "app/CancellableLoop.h"

namespace mnemora {

// Whether the photo folders the daemon indexes can be read. Here that is a matter of the
// folders' own permissions: the user is asked once, by looking, and a refusal is mended in the
// file manager, after which the next look notices.
class PhotoAccess : public QObject {
    Q_OBJECT
    // "undetermined", "granted" or "refused".
    Q_PROPERTY(QString state READ stateWord NOTIFY changed)

public:
    enum class State { undetermined, granted, refused };

    // `folders`: the photo folders to read; the user's pictures folder by default.
    explicit PhotoAccess(QStringList folders = defaultFolders(), QObject* parent = nullptr);

    static QStringList defaultFolders();
    // Every folder that exists lists; a folder that is missing holds nothing to refuse.
    static bool readable(const QStringList& folders);

    State state() const { return state_; }
    QString stateWord() const;
    const QStringList& folders() const { return folders_; }

    // The first ask: looks, and remembers that the user has been asked.
    void request();
    // Looks again, once the user has been asked.
    void recheck();
    // Shows the first folder that cannot be read in the file manager, where its permissions are.
    void openSettings() const;
    // While refused, looks again every `interval` so a mended folder is noticed.
    void watch(std::chrono::milliseconds interval);
    void stopWatching() { watching_.cancel(); }

signals:
    void changed();

private:
    void setState(State state);

    QStringList folders_;
    State state_ = State::undetermined;
    CancellableTask watching_;
};

} // namespace mnemora
