// The actions on the application's windows: opening, raising, closing, framing, the look.
#include <QGuiApplication>
#include <QJsonArray>
#include <QPalette>
#include <QQuickWindow>

#include "app/AppStateStore.h"
#include "introspection/IntrospectionActions.h"
#include "introspection/WindowDirectory.h"

namespace mnemora::IntrospectionActions {

namespace {

const QStringList kWindowIds = {QStringLiteral("vault-window"), QStringLiteral("person"),
                                QStringLiteral("place"), QStringLiteral("group"),
                                QStringLiteral("camera")};

void raise(QWindow* window) {
    window->show();
    // A platform without a window stack (offscreen) has nothing to raise, and says so.
    if (QGuiApplication::platformName() != QLatin1String("offscreen")) {
        window->raise();
    }
    window->requestActivate();
}

QJsonValue keyWindowTitle() {
    QWindow* focus = QGuiApplication::focusWindow();
    return focus ? QJsonValue(focus->title()) : QJsonValue(QJsonValue::Null);
}

// The window a `title` key names, or the answer that says why none does.
std::variant<QWindow*, HttpResponse> titledWindow(const ActionCall& call,
                                                  const QString& expectWords) {
    const std::optional<QString> title = call.string("title");
    if (!title) {
        return ActionCall::expect(expectWords);
    }
    if (QWindow* window = WindowDirectory::windowTitled(*title)) {
        return window;
    }
    return HttpResponse::error(404, QStringLiteral("no visible window matching '%1'").arg(*title),
                               {{QStringLiteral("windows"), WindowDirectory::describe()}});
}

HttpResponse openWindow(const ActionCall& call) {
    const std::optional<QString> id = call.string("id");
    if (!id || !kWindowIds.contains(*id)) {
        return ActionCall::expect(
            QStringLiteral("expect {id, value?}"),
            {{QStringLiteral("known_ids"), QJsonArray::fromStringList(kWindowIds)}});
    }
    const std::optional<QString> value = call.string("value");
    if (*id == QLatin1String("vault-window") && value) {
        if (QWindow* shown = WindowDirectory::windowShowing(*value)) {
            raise(shown);
            return ActionCall::ok({{QStringLiteral("already_open"), true},
                                   {QStringLiteral("title"), shown->title()}});
        }
    }
    // The request goes through a window whose view is mounted: the one named, else any shown.
    auto targeted = call.target();
    if (auto* refused = std::get_if<HttpResponse>(&targeted)) {
        return *refused;
    }
    IntrospectionServer::Target target = std::get<IntrospectionServer::Target>(targeted);
    QWindow* through = WindowDirectory::windowShowing(target.vaultPath);
    if (!through || !target.context.appState) {
        target = {call.server->primary(), std::nullopt};
        through = WindowDirectory::windowShowing(std::nullopt);
    }
    if (!through || !target.context.appState) {
        return HttpResponse::error(500, QStringLiteral("no window is mounted to relay through, and "
                                                       "no enabled Ctrl+N item in the main menu"));
    }
    target.context.appState->setPendingOpenWindow(OpenWindowRequest{*id, value});
    return ActionCall::ok(
        {{QStringLiteral("already_open"), false},
         {QStringLiteral("relay"), target.vaultPath.value_or(QStringLiteral("primary"))},
         {QStringLiteral("through"), through->title()}});
}

HttpResponse activate(const ActionCall& call) {
    QWindow* window = WindowDirectory::windowShowing(std::nullopt);
    if (!window && !WindowDirectory::visibleWindows().isEmpty()) {
        window = WindowDirectory::visibleWindows().first();
    }
    if (window) {
        raise(window);
    }
    Q_UNUSED(call);
    return ActionCall::ok(
        {{QStringLiteral("active"), QGuiApplication::applicationState() == Qt::ApplicationActive},
         {QStringLiteral("key_window"), keyWindowTitle()},
         {QStringLiteral("raised"), window != nullptr}});
}

HttpResponse windowFrame(const ActionCall& call) {
    const QString expectWords =
        QStringLiteral("expect {title, width, height, x?, y?} — size in points, origin top-left");
    const std::optional<double> width = call.number("width");
    const std::optional<double> height = call.number("height");
    if (!width || !height) {
        return ActionCall::expect(expectWords);
    }
    auto titled = titledWindow(call, expectWords);
    if (auto* refused = std::get_if<HttpResponse>(&titled)) {
        return *refused;
    }
    QWindow* window = std::get<QWindow*>(titled);
    const QSize asked(static_cast<int>(*width), static_cast<int>(*height));
    const QSize size = asked.expandedTo(window->minimumSize()).boundedTo(window->maximumSize());
    const QPoint origin(static_cast<int>(call.number("x").value_or(window->x())),
                        static_cast<int>(call.number("y").value_or(window->y())));
    window->setGeometry(QRect(origin, size));
    QJsonObject requested{{QStringLiteral("width"), asked.width()},
                          {QStringLiteral("height"), asked.height()}};
    for (const char* key : {"x", "y"}) {
        if (const std::optional<double> value = call.number(key)) {
            requested.insert(QLatin1String(key), *value);
        }
    }
    return ActionCall::ok(
        {{QStringLiteral("title"), window->title()},
         {QStringLiteral("requested"), requested},
         {QStringLiteral("applied"), QJsonObject{{QStringLiteral("width"), window->width()},
                                                 {QStringLiteral("height"), window->height()},
                                                 {QStringLiteral("x"), window->x()},
                                                 {QStringLiteral("y"), window->y()}}},
         {QStringLiteral("clamped"), size != asked}});
}

QPalette darkPalette() {
    const QColor window(0x2b, 0x2b, 0x2b);
    const QColor base(0x1e, 0x1e, 0x1e);
    const QColor text(0xe8, 0xe8, 0xe8);
    // Built from the window colour, so that the shades the style draws edges and bevels with
    // (light, mid, dark, shadow) are dark ones too, as a dark desktop theme has them.
    QPalette palette(window, window);
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, window);
    palette.setColor(QPalette::Button, window);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::Highlight, QColor(0x3d, 0x7a, 0xd6));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::PlaceholderText, QColor(0x8c, 0x8c, 0x8c));
    return palette;
}

HttpResponse appearance(const ActionCall& call) {
    const QStringList valid = {QStringLiteral("light"), QStringLiteral("dark"),
                               QStringLiteral("system"), QStringLiteral("aqua"),
                               QStringLiteral("auto")};
    const QString mode = call.string("mode").value_or(QString());
    if (!valid.contains(mode)) {
        return HttpResponse::error(400, QStringLiteral("unknown mode '%1'").arg(mode),
                                   {{QStringLiteral("valid"), QJsonArray::fromStringList(valid)}});
    }
    if (mode == QLatin1String("dark")) {
        QGuiApplication::setPalette(darkPalette());
    } else if (mode == QLatin1String("light") || mode == QLatin1String("aqua")) {
        QGuiApplication::setPalette(QPalette(QColor(0xef, 0xef, 0xef)));
    } else {
        // The desktop's own palette again.
        QGuiApplication::setPalette(QPalette());
    }
    const bool dark = QGuiApplication::palette().color(QPalette::Window).lightness() < 128;
    return ActionCall::ok(
        {{QStringLiteral("mode"), mode},
         {QStringLiteral("effective"), dark ? QStringLiteral("dark") : QStringLiteral("light")}});
}

} // namespace

std::optional<HttpResponse> runWindowAction(const QString& word, const ActionCall& call) {
    if (word == QLatin1String("open-window")) {
        return openWindow(call);
    }
    if (word == QLatin1String("activate")) {
        return activate(call);
    }
    if (word == QLatin1String("focus-window") || word == QLatin1String("close-window")) {
        auto titled = titledWindow(call, QStringLiteral("expect {title} (substring match)"));
        if (auto* refused = std::get_if<HttpResponse>(&titled)) {
            return *refused;
        }
        QWindow* window = std::get<QWindow*>(titled);
        const QString title = window->title();
        if (word == QLatin1String("focus-window")) {
            raise(window);
        } else {
            window->close();
        }
        return ActionCall::ok({{QStringLiteral("title"), title}});
    }
    if (word == QLatin1String("window-frame")) {
        return windowFrame(call);
    }
    if (word == QLatin1String("appearance")) {
        return appearance(call);
    }
    return std::nullopt;
}

} // namespace mnemora::IntrospectionActions
