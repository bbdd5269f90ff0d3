#include "introspection/WindowDirectory.h"

#include <QGuiApplication>
#include <QJsonObject>
#include <QQuickWindow>

namespace mnemora::WindowDirectory {

namespace {

// The windows tag themselves this way on every brand.
const QString kPrimaryTag = QStringLiteral("tallo.window.primary");
const QString kVaultTagPrefix = QStringLiteral("tallo.window.vault:");

} // namespace

QList<QWindow*> visibleWindows() {
    QList<QWindow*> windows;
    for (QWindow* window : QGuiApplication::topLevelWindows()) {
        if (window->isVisible()) {
            windows << window;
        }
    }
    return windows;
}

std::optional<QString> vaultOf(const QWindow* window) {
    const QString tag = window->objectName();
    if (tag.startsWith(kVaultTagPrefix)) {
        return tag.mid(kVaultTagPrefix.size());
    }
    return std::nullopt;
}

QQuickWindow* windowShowing(const std::optional<QString>& vaultPath) {
    const QString wanted = vaultPath ? kVaultTagPrefix + *vaultPath : kPrimaryTag;
    for (QWindow* window : visibleWindows()) {
        if (window->objectName() == wanted) {
            return qobject_cast<QQuickWindow*>(window);
        }
    }
    return nullptr;
}

QWindow* windowTitled(const QString& part) {
    for (QWindow* window : visibleWindows()) {
        if (window->title().contains(part, Qt::CaseInsensitive)) {
            return window;
        }
    }
    return nullptr;
}

QWindow* sheetOf(const QWindow* window) {
    for (QWindow* other : visibleWindows()) {
        if (other->transientParent() == window && other->modality() != Qt::NonModal) {
            return other;
        }
    }
    return nullptr;
}

QJsonArray describe() {
    QJsonArray windows;
    for (QWindow* window : visibleWindows()) {
        windows << QJsonObject{
            {QStringLiteral("title"), window->title()},
            {QStringLiteral("visible"), window->isVisible()},
            {QStringLiteral("has_sheet"), sheetOf(window) != nullptr},
            {QStringLiteral("key_window"), QGuiApplication::focusWindow() == window}};
    }
    return windows;
}

QStringList titles() {
    QStringList titles;
    for (QWindow* window : visibleWindows()) {
        titles << window->title();
    }
    return titles;
}

} // namespace mnemora::WindowDirectory
