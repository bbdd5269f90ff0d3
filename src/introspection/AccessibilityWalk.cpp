#include "introspection/AccessibilityWalk.h"

#include <QAccessible>
#include <QJsonArray>
#include <QQuickItem>
#include <QWindow>

#include "introspection/WindowDirectory.h"

namespace mnemora::AccessibilityWalk {

namespace {

struct RoleName {
    QAccessible::Role role;
    const char* word;
};

constexpr RoleName kRoles[] = {
    {QAccessible::Window, "window"},
    {QAccessible::Dialog, "dialog"},
    {QAccessible::Client, "group"},
    {QAccessible::Grouping, "group"},
    {QAccessible::Pane, "pane"},
    {QAccessible::Button, "button"},
    {QAccessible::CheckBox, "checkBox"},
    {QAccessible::RadioButton, "radioButton"},
    {QAccessible::StaticText, "text"},
    {QAccessible::EditableText, "textField"},
    {QAccessible::Heading, "heading"},
    {QAccessible::Link, "link"},
    {QAccessible::Graphic, "image"},
    {QAccessible::List, "list"},
    {QAccessible::ListItem, "listItem"},
    {QAccessible::ComboBox, "comboBox"},
    {QAccessible::Slider, "slider"},
    {QAccessible::ScrollBar, "scrollBar"},
    {QAccessible::ProgressBar, "progressBar"},
    {QAccessible::MenuItem, "menuItem"},
    {QAccessible::PageTab, "tab"},
    {QAccessible::ToolBar, "toolBar"},
};

// The window a script reads in place of `window`: its sheet when one is up.
QWindow* shownFor(QWindow* window) {
    QWindow* sheet = WindowDirectory::sheetOf(window);
    return sheet ? sheet : window;
}

bool isEnabled(const QAccessibleInterface* element) {
    // Qt Quick does not report its items' enabled state through the interface.
    if (const auto* item = qobject_cast<const QQuickItem*>(element->object())) {
        return item->isEnabled();
    }
    return !element->state().disabled;
}

bool isVisible(const QAccessibleInterface* element) {
    if (const auto* item = qobject_cast<const QQuickItem*>(element->object())) {
        return item->isVisible();
    }
    return !element->state().invisible;
}

QJsonValue valueOf(QAccessibleInterface* element) {
    if (QAccessibleValueInterface* value = element->valueInterface()) {
        return QJsonValue::fromVariant(value->currentValue());
    }
    const QString text = element->text(QAccessible::Value);
    return text.isEmpty() ? QJsonValue() : QJsonValue(text);
}

QJsonObject record(QAccessibleInterface* element, const QString& windowTitle) {
    const QAccessibleActionInterface* actions = element->actionInterface();
    return {{QStringLiteral("role"), roleWord(element)},
            {QStringLiteral("window"), windowTitle},
            {QStringLiteral("label"), element->text(QAccessible::Name)},
            {QStringLiteral("enabled"), isEnabled(element)},
            {QStringLiteral("pressable"),
             actions && actions->actionNames().contains(QAccessibleActionInterface::pressAction())},
            {QStringLiteral("value"), valueOf(element)},
            {QStringLiteral("visible"), isVisible(element)}};
}

// Visits the tree depth first, `visit` deciding whether to go on.
void traverse(QWindow* window, const std::function<bool(QAccessibleInterface*)>& visit) {
    QList<QAccessibleInterface*> pending{QAccessible::queryAccessibleInterface(window)};
    while (!pending.isEmpty()) {
        QAccessibleInterface* element = pending.takeFirst();
        if (!element || !element->isValid()) {
            continue;
        }
        if (!visit(element)) {
            return;
        }
        QList<QAccessibleInterface*> children;
        for (int i = 0; i < element->childCount(); ++i) {
            children << element->child(i);
        }
        pending = children + pending;
    }
}

} // namespace

QString roleWord(const QAccessibleInterface* element) {
    const QAccessible::Role role = element->role();
    for (const RoleName& name : kRoles) {
        if (name.role == role) {
            return QString::fromLatin1(name.word);
        }
    }
    return QStringLiteral("other");
}

QJsonObject walk(const QList<QWindow*>& windows, int budget) {
    QAccessible::setActive(true);
    QJsonArray elements;
    QJsonArray walked;
    int visited = 0;
    bool truncated = false;
    for (QWindow* asked : windows) {
        QWindow* window = shownFor(asked);
        walked << window->title();
        traverse(window, [&](QAccessibleInterface* element) {
            if (visited >= budget) {
                truncated = true;
                return false;
            }
            ++visited;
            if (elements.size() < kMaxElements) {
                elements << record(element, window->title());
            } else {
                truncated = true;
            }
            return true;
        });
    }
    QJsonObject answer{{QStringLiteral("elements"), elements},
                       {QStringLiteral("visited"), visited},
                       {QStringLiteral("walked"), walked},
                       {QStringLiteral("truncated"), truncated}};
    if (visited >= budget) {
        answer.insert(QStringLiteral("note"),
                      QStringLiteral("walk stopped at %1 visited nodes — narrow with "
                                     "?window=<title substring> or raise ?budget= (max 50k). A "
                                     "sheet is walked in place of its parent, so "
                                     "?window=<parent title> reaches a modal.")
                          .arg(visited));
    }
    return answer;
}

QAccessibleInterface* find(const QList<QWindow*>& windows, const QString& label,
                           const QString& role) {
    QAccessible::setActive(true);
    QAccessibleInterface* partial = nullptr;
    QAccessibleInterface* exact = nullptr;
    for (QWindow* asked : windows) {
        traverse(shownFor(asked), [&](QAccessibleInterface* element) {
            if (!isVisible(element) || (!role.isEmpty() && roleWord(element) != role)) {
                return true;
            }
            const QString name = element->text(QAccessible::Name);
            if (name.compare(label, Qt::CaseInsensitive) == 0) {
                exact = element;
                return false;
            }
            if (!partial && name.contains(label, Qt::CaseInsensitive)) {
                partial = element;
            }
            return true;
        });
        if (exact) {
            return exact;
        }
    }
    return partial;
}

} // namespace mnemora::AccessibilityWalk
