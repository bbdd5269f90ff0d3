// The actions that act as the user's hands: accessibility presses and values, clicks, typing,
// keys and scrolling, synthesised into the window as real input.
#include <QAccessible>
#include <QGuiApplication>
#include <QInputMethodEvent>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTest>

#include "introspection/AccessibilityWalk.h"
#include "introspection/IntrospectionActions.h"
#include "introspection/WindowDirectory.h"

namespace mnemora::IntrospectionActions {

namespace {

struct KeyName {
    const char* word;
    Qt::Key key;
};

constexpr KeyName kKeys[] = {{"return", Qt::Key_Return}, {"enter", Qt::Key_Enter},
                             {"tab", Qt::Key_Tab},       {"space", Qt::Key_Space},
                             {"escape", Qt::Key_Escape}, {"delete", Qt::Key_Backspace},
                             {"left", Qt::Key_Left},     {"right", Qt::Key_Right},
                             {"up", Qt::Key_Up},         {"down", Qt::Key_Down}};

// The window an input action goes to: `window` when given, else the primary one.
std::variant<QQuickWindow*, HttpResponse> inputWindow(const ActionCall& call) {
    const std::optional<QString> named = call.string("window");
    if (named) {
        if (auto* window = qobject_cast<QQuickWindow*>(WindowDirectory::windowTitled(*named))) {
            return window;
        }
    }
    auto targeted = call.target();
    if (auto* refused = std::get_if<HttpResponse>(&targeted)) {
        return *refused;
    }
    if (QQuickWindow* window = WindowDirectory::windowShowing(
            std::get<IntrospectionServer::Target>(targeted).vaultPath)) {
        return window;
    }
    return HttpResponse::error(404, QStringLiteral("no matching window"),
                               {{QStringLiteral("windows"), WindowDirectory::describe()}});
}

QList<QWindow*> searchedWindows(const ActionCall& call) {
    if (const std::optional<QString> named = call.string("window")) {
        if (QWindow* window = WindowDirectory::windowTitled(*named)) {
            return {window};
        }
        return {};
    }
    return WindowDirectory::visibleWindows();
}

HttpResponse noElement(const QString& label) {
    return HttpResponse::error(
        404, QStringLiteral("no element matching '%1' — check GET /ax").arg(label));
}

void clickAt(QWindow* window, QPoint point, Qt::MouseButton button, bool twice) {
    if (twice) {
        QTest::mouseDClick(window, button, {}, point);
    } else {
        QTest::mouseClick(window, button, {}, point);
    }
}

HttpResponse axPress(const ActionCall& call) {
    const std::optional<QString> label = call.string("label");
    if (!label) {
        return ActionCall::expect(
            QStringLiteral("expect {label, role?, window?} — labels come from GET /ax"));
    }
    QAccessibleInterface* element = AccessibilityWalk::find(
        searchedWindows(call), *label, call.string("role").value_or(QString()));
    if (!element) {
        return noElement(*label);
    }
    const QString found = element->text(QAccessible::Name);
    QAccessibleActionInterface* actions = element->actionInterface();
    if (actions && actions->actionNames().contains(QAccessibleActionInterface::pressAction())) {
        actions->doAction(QAccessibleActionInterface::pressAction());
    } else if (auto* item = qobject_cast<QQuickItem*>(element->object()); item && item->window()) {
        clickAt(item->window(), item->mapToScene(item->boundingRect().center()).toPoint(),
                Qt::LeftButton, false);
    }
    return ActionCall::ok({{QStringLiteral("label"), found},
                           {QStringLiteral("role"), AccessibilityWalk::roleWord(element)}});
}

HttpResponse axSetValue(const ActionCall& call) {
    const std::optional<QString> label = call.string("label");
    const QJsonValue value = call.body.value(QStringLiteral("value"));
    if (!label || value.isUndefined()) {
        return ActionCall::expect(QStringLiteral("expect {label, value, window?}"));
    }
    QAccessibleInterface* element = AccessibilityWalk::find(searchedWindows(call), *label);
    if (!element) {
        return noElement(*label);
    }
    if (QAccessibleValueInterface* values = element->valueInterface()) {
        values->setCurrentValue(value.toVariant());
    } else if (QObject* object = element->object();
               object && object->metaObject()->indexOfProperty("text") >= 0) {
        object->setProperty("text", value.toVariant().toString());
    } else {
        element->setText(QAccessible::Value, value.toVariant().toString());
    }
    return ActionCall::ok({{QStringLiteral("label"), element->text(QAccessible::Name)}});
}

HttpResponse click(const ActionCall& call) {
    const std::optional<double> x = call.number("x");
    const std::optional<double> y = call.number("y");
    if (!x || !y) {
        return ActionCall::expect(QStringLiteral(
            "expect {x, y, window?, right?, double?} (top-left window-local coords)"));
    }
    auto chosen = inputWindow(call);
    if (std::holds_alternative<HttpResponse>(chosen)) {
        return HttpResponse::error(404, QStringLiteral("no matching window"));
    }
    QQuickWindow* window = std::get<QQuickWindow*>(chosen);
    clickAt(window, QPoint(static_cast<int>(*x), static_cast<int>(*y)),
            call.flag("right") ? Qt::RightButton : Qt::LeftButton, call.flag("double"));
    return ActionCall::ok({{QStringLiteral("window"), window->title()}});
}

bool isTextField(const QQuickItem* item) {
    return item && (item->inherits("QQuickTextInput") || item->inherits("QQuickTextEdit"));
}

HttpResponse typeText(const ActionCall& call) {
    const std::optional<QString> text = call.string("text");
    if (!text) {
        return ActionCall::expect(QStringLiteral("expect {text}"));
    }
    auto* window = qobject_cast<QQuickWindow*>(QGuiApplication::focusWindow());
    QQuickItem* focused = window ? window->activeFocusItem() : nullptr;
    for (QWindow* shown : WindowDirectory::visibleWindows()) {
        auto* quick = qobject_cast<QQuickWindow*>(shown);
        if (!isTextField(focused) && quick && isTextField(quick->activeFocusItem())) {
            focused = quick->activeFocusItem();
        }
    }
    if (!isTextField(focused)) {
        return HttpResponse::error(400, QStringLiteral("no focused text field (click one first)"));
    }
    // Committed text reaches any field whole, whatever its characters.
    QInputMethodEvent event;
    event.setCommitString(*text);
    QCoreApplication::sendEvent(focused, &event);
    return ActionCall::ok({{QStringLiteral("typed"), text->size()}});
}

std::optional<Qt::KeyboardModifiers> modifiers(const QJsonValue& value) {
    QStringList names;
    if (value.isString()) {
        names = value.toString().split(QLatin1Char('+'), Qt::SkipEmptyParts);
    } else {
        for (const QJsonValue& name : value.toArray()) {
            names << name.toString();
        }
    }
    Qt::KeyboardModifiers result;
    for (const QString& name : names) {
        const QString word = name.trimmed().toLower();
        if (word == QLatin1String("cmd") || word == QLatin1String("command") ||
            word == QLatin1String("ctrl") || word == QLatin1String("control")) {
            result |= Qt::ControlModifier;
        } else if (word == QLatin1String("shift")) {
            result |= Qt::ShiftModifier;
        } else if (word == QLatin1String("alt") || word == QLatin1String("option")) {
            result |= Qt::AltModifier;
        } else if (word == QLatin1String("meta")) {
            result |= Qt::MetaModifier;
        } else {
            return std::nullopt;
        }
    }
    return result;
}

HttpResponse key(const ActionCall& call) {
    const std::optional<QString> name = call.string("key");
    const std::optional<Qt::KeyboardModifiers> mods =
        modifiers(call.body.value(QStringLiteral("modifiers")));
    if (!name || !mods) {
        return ActionCall::expect(QStringLiteral("expect {key, modifiers?} — "
                                                 "return/enter/tab/space/escape/delete/left/"
                                                 "right/up/down"));
    }
    std::optional<Qt::Key> chosen;
    for (const KeyName& known : kKeys) {
        if (name->compare(QLatin1String(known.word), Qt::CaseInsensitive) == 0) {
            chosen = known.key;
        }
    }
    if (!chosen && name->size() == 1 && name->at(0).isLetterOrNumber()) {
        chosen = static_cast<Qt::Key>(name->at(0).toUpper().unicode());
    }
    if (!chosen) {
        return HttpResponse::error(400, QStringLiteral("unknown key '%1'").arg(*name));
    }
    QWindow* window = QGuiApplication::focusWindow();
    if (!window) {
        window = WindowDirectory::windowShowing(std::nullopt);
    }
    if (!window) {
        return HttpResponse::error(404, QStringLiteral("no matching window"));
    }
    QTest::keyClick(window, *chosen, *mods);
    return ActionCall::ok({{QStringLiteral("key"), *name}});
}

} // namespace

HttpResponse scroll(const ActionCall& call);

std::optional<HttpResponse> runInputAction(const QString& word, const ActionCall& call) {
    if (word == QLatin1String("ax-press")) {
        return axPress(call);
    }
    if (word == QLatin1String("ax-set-value")) {
        return axSetValue(call);
    }
    if (word == QLatin1String("click")) {
        return click(call);
    }
    if (word == QLatin1String("type-text")) {
        return typeText(call);
    }
    if (word == QLatin1String("key")) {
        return key(call);
    }
    if (word == QLatin1String("scroll")) {
        return scroll(call);
    }
    return std::nullopt;
}

// Scrolls the largest scrollable view of the window: by `dy` points, or to its top or bottom.
HttpResponse scroll(const ActionCall& call) {
    const std::optional<double> dy = call.number("dy");
    const std::optional<QString> to = call.string("to");
    if (!dy && to != QLatin1String("top") && to != QLatin1String("bottom")) {
        return ActionCall::expect(QStringLiteral("expect {dy} or {to: top|bottom}, got to='%1'")
                                      .arg(to.value_or(QString())));
    }
    auto chosen = inputWindow(call);
    if (auto* refused = std::get_if<HttpResponse>(&chosen)) {
        return *refused;
    }
    QQuickItem* view = nullptr;
    qreal largest = 0;
    for (QQuickItem* item :
         std::get<QQuickWindow*>(chosen)->contentItem()->findChildren<QQuickItem*>()) {
        const qreal area = item->width() * item->height();
        if (item->inherits("QQuickFlickable") && item->isVisible() &&
            item->property("contentHeight").toReal() > item->height() && area > largest) {
            view = item;
            largest = area;
        }
    }
    if (!view) {
        return HttpResponse::error(404, QStringLiteral("nothing scrollable in this window"));
    }
    const qreal top = view->property("originY").toReal();
    const qreal bottom = top + view->property("contentHeight").toReal() - view->height();
    qreal y = view->property("contentY").toReal();
    y = dy ? std::clamp(y + *dy, top, bottom) : (to == QLatin1String("top") ? top : bottom);
    view->setProperty("contentY", y);
    return ActionCall::ok({{QStringLiteral("content_y"), y}});
}

} // namespace mnemora::IntrospectionActions
