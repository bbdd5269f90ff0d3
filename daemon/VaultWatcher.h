#pragma once

#include <QHash>
#include <QObject>
#include <QString>
#include <QTimer>

class QSocketNotifier;

namespace mnemora::refdaemon {

// Watches a vault's folder tree with inotify, new folders included, and reports changes
// coalesced over a short latency so a burst of writes costs one re-index.
class VaultWatcher : public QObject {
    Q_OBJECT
public:
    explicit VaultWatcher(QString root, int latencyMs = 150, QObject* parent = nullptr);
    ~VaultWatcher() override;

    // False when inotify is not available; the daemon then runs without a live index.
    bool start();

signals:
    void changed();

private:
    void watchTree(const QString& folder);
    void readEvents();

    QString root_;
    int fd_ = -1;
    QSocketNotifier* notifier_ = nullptr;
    QHash<int, QString> folders_; // watch descriptor to folder
    QTimer latency_;
};

} // namespace mnemora::refdaemon
