#include "platform/FileReveal.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QFileInfo>
#include <QProcess>
#include <QUrl>

namespace mnemora::FileReveal {

namespace {

void openFolder(const QString& path) {
    QProcess::startDetached(QStringLiteral("xdg-open"), {QFileInfo(path).absolutePath()});
}

} // namespace

void reveal(const QString& path) {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) {
        openFolder(path);
        return;
    }
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.FileManager1"),
        QStringLiteral("/org/freedesktop/FileManager1"),
        QStringLiteral("org.freedesktop.FileManager1"), QStringLiteral("ShowItems"));
    call << QStringList{QUrl::fromLocalFile(path).toString()} << QString();
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, watcher,
                     [path](QDBusPendingCallWatcher* finished) {
                         if (finished->isError()) {
                             openFolder(path);
                         }
                         finished->deleteLater();
                     });
}

void open(const QString& path) {
    QProcess::startDetached(QStringLiteral("xdg-open"), {path});
}

} // namespace mnemora::FileReveal
