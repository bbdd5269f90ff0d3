#include "introspection/IntrospectionRoutes.h"

#include <QBuffer>
#include <QGuiApplication>
#include <QImage>
#include <QQuickWindow>

#include "app/Brand.h"
#include "introspection/AccessibilityWalk.h"
#include "introspection/IntrospectionActions.h"
#include "introspection/IntrospectionServer.h"
#include "introspection/StateRecord.h"
#include "introspection/WindowDirectory.h"

namespace mnemora::IntrospectionRoutes {

namespace {

std::optional<QString> queryValue(const HttpRequest& request, const QString& key) {
    const auto found = request.query.constFind(key);
    return found == request.query.cend() ? std::nullopt : std::optional<QString>(*found);
}

HttpResponse health() {
    return HttpResponse::json(200, {{QStringLiteral("app"), appDisplayName()},
                                    {QStringLiteral("bundle"), bundleIdentifier()}});
}

QCoro::Task<HttpResponse> state(QPointer<IntrospectionServer> server, HttpRequest request) {
    auto targeted = server->target(queryValue(request, QStringLiteral("vault")),
                                   queryValue(request, QStringLiteral("window")));
    if (auto* refused = std::get_if<HttpResponse>(&targeted)) {
        co_return *refused;
    }
    const IntrospectionServer::Target target = std::get<IntrospectionServer::Target>(targeted);
    if (target.vaultPath && target.context.reviveIfNeeded) {
        QCoro::Task<> reviving = target.context.reviveIfNeeded();
        co_await reviving;
        if (!server) {
            co_return HttpResponse::error(500, QStringLiteral("server stopped"));
        }
    }
    co_return StateRecord::answer(target.context, target.vaultPath, server->vaultWindows().keys(),
                                  server->port());
}

HttpResponse screenshot(IntrospectionServer& server, const HttpRequest& request) {
    QWindow* window = nullptr;
    if (const std::optional<QString> title = queryValue(request, QStringLiteral("windowTitle"))) {
        window = WindowDirectory::windowTitled(*title);
    } else {
        auto targeted = server.target(std::nullopt, queryValue(request, QStringLiteral("window")));
        if (auto* refused = std::get_if<HttpResponse>(&targeted)) {
            return *refused;
        }
        window = WindowDirectory::windowShowing(
            std::get<IntrospectionServer::Target>(targeted).vaultPath);
    }
    auto* quick = qobject_cast<QQuickWindow*>(window);
    if (!quick) {
        return HttpResponse::error(404, QStringLiteral("no matching window"),
                                   {{QStringLiteral("windows"), WindowDirectory::describe()}});
    }
    if (queryValue(request, QStringLiteral("activate")).value_or(QStringLiteral("false")) !=
        QLatin1String("false")) {
        quick->requestActivate();
    }
    const QImage image = quick->grabWindow();
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    if (image.isNull() || !image.save(&buffer, "PNG")) {
        return HttpResponse::error(500, QStringLiteral("window capture failed"));
    }
    return HttpResponse::png(bytes);
}

HttpResponse accessibility(IntrospectionServer& server, const HttpRequest& request, bool all) {
    const int limit = budget(request.query.value(QStringLiteral("budget")));
    const std::optional<QString> window = queryValue(request, QStringLiteral("window"));
    if (all && !window) {
        return HttpResponse::json(
            200, AccessibilityWalk::walk(WindowDirectory::visibleWindows(), limit));
    }
    QWindow* chosen = nullptr;
    if (window && (chosen = WindowDirectory::windowTitled(*window))) {
        return HttpResponse::json(200, AccessibilityWalk::walk({chosen}, limit));
    }
    auto targeted = server.target(std::nullopt, window);
    if (auto* refused = std::get_if<HttpResponse>(&targeted)) {
        return *refused;
    }
    chosen =
        WindowDirectory::windowShowing(std::get<IntrospectionServer::Target>(targeted).vaultPath);
    if (!chosen) {
        return HttpResponse::error(404, QStringLiteral("no matching window"),
                                   {{QStringLiteral("windows"), WindowDirectory::describe()}});
    }
    return HttpResponse::json(200, AccessibilityWalk::walk({chosen}, limit));
}

} // namespace

int budget(const QString& value) {
    bool numeric = false;
    const int asked = value.toInt(&numeric);
    if (!numeric || asked <= 0 || asked > AccessibilityWalk::kMaxBudget) {
        return AccessibilityWalk::kMaxBudget;
    }
    return asked;
}

QCoro::Task<HttpResponse> route(QPointer<IntrospectionServer> server, HttpRequest request) {
    const QString& method = request.method;
    const QString& path = request.path;
    if (!server) {
        co_return HttpResponse::error(500, QStringLiteral("server stopped"));
    }
    if (method == QLatin1String("GET") && path == QLatin1String("/health")) {
        co_return health();
    }
    if (method == QLatin1String("GET") && path == QLatin1String("/state")) {
        QCoro::Task<HttpResponse> answering = state(server, std::move(request));
        HttpResponse response = co_await answering;
        co_return response;
    }
    if (method == QLatin1String("GET") && path == QLatin1String("/screenshot")) {
        co_return screenshot(*server, request);
    }
    if (method == QLatin1String("GET") &&
        (path == QLatin1String("/ax") || path == QLatin1String("/ax/all"))) {
        co_return accessibility(*server, request, path == QLatin1String("/ax/all"));
    }
    if (method == QLatin1String("POST") && path == QLatin1String("/action")) {
        QCoro::Task<HttpResponse> acting = IntrospectionActions::run(server, request.body);
        HttpResponse response = co_await acting;
        co_return response;
    }
    co_return HttpResponse::error(404, QStringLiteral("not found"),
                                  {{QStringLiteral("method"), method}});
}

} // namespace mnemora::IntrospectionRoutes
