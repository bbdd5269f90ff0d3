#include "introspection/IntrospectionServer.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QMetaObject>
#include <QWindow>

#include "app/Brand.h"
#include "app/Log.h"
#include "app/WindowTarget.h"
#include "introspection/IntrospectionListener.h"
#include "introspection/IntrospectionRoutes.h"
#include "introspection/WindowDirectory.h"
#include "platform/AtomicFile.h"
#include "platform/Paths.h"

namespace mnemora {

namespace {

const QString kSource = QStringLiteral("IntrospectionServer");

QJsonArray toArray(const QStringList& list) {
    return QJsonArray::fromStringList(list);
}

} // namespace

IntrospectionServer::IntrospectionServer(QObject* parent)
    : QObject(parent) {
    thread_.setObjectName(QStringLiteral("introspection"));
}

IntrospectionServer::~IntrospectionServer() {
    stop();
}

int IntrospectionServer::basePort() const {
    return basePortOverride_.value_or(BrandProfile::introspectionBasePort(brand()));
}

QString IntrospectionServer::portFilePath() {
    return Paths::cachesRoot() + QLatin1Char('/') + bundleIdentifier() +
           QStringLiteral("/native_introspection.port");
}

void IntrospectionServer::start() {
    if (listening_) {
        return;
    }
    if (!listener_) {
        QPointer<IntrospectionServer> self(this);
        listener_ = new IntrospectionListener(
            [self](quint64 connection, HttpRequest request) {
                // From the socket's thread to the main thread, where all state lives.
                QMetaObject::invokeMethod(
                    self, [self, connection, request = std::move(request)]() mutable {
                        if (self) {
                            self->serve(connection, std::move(request));
                        }
                    });
            },
            idleTimeout_);
        listener_->moveToThread(&thread_);
        connect(&thread_, &QThread::finished, listener_, &QObject::deleteLater);
        thread_.start();
    }
    for (int attempt = 0; attempt < maxPortAttempts; ++attempt) {
        const int port = basePort() + attempt;
        if (const std::optional<QString> failure = bindOnListenerThread(port)) {
            setLastError(QStringLiteral("bind %1 failed: %2").arg(port).arg(*failure));
            continue;
        }
        listening_ = true;
        setRunning(port);
        setLastError({});
        writePortFile(port);
        Log::line(kSource, QStringLiteral("listening on 127.0.0.1:%1").arg(port));
        return;
    }
    Log::line(kSource, lastError_);
}

std::optional<QString> IntrospectionServer::bindOnListenerThread(int port) {
    std::optional<QString> failure;
    IntrospectionListener* listener = listener_;
    QMetaObject::invokeMethod(
        listener, [listener, port, &failure] { failure = listener->listen(port); },
        Qt::BlockingQueuedConnection);
    return failure;
}

void IntrospectionServer::stop() {
    if (!thread_.isRunning()) {
        return;
    }
    IntrospectionListener* listener = listener_;
    QMetaObject::invokeMethod(
        listener, [listener] { listener->close(); }, Qt::BlockingQueuedConnection);
    thread_.quit();
    thread_.wait();
    listener_ = nullptr;
    listening_ = false;
    setRunning(std::nullopt);
}

void IntrospectionServer::setRunning(std::optional<int> port) {
    const bool running = port.has_value();
    if (port_ != port) {
        port_ = port;
        emit portChanged();
    }
    if (isRunning_ != running) {
        isRunning_ = running;
        emit isRunningChanged();
    }
}

void IntrospectionServer::setLastError(const QString& error) {
    if (lastError_ != error) {
        lastError_ = error;
        emit lastErrorChanged();
    }
}

void IntrospectionServer::writePortFile(int port) {
    const QString path = portFilePath();
    QDir().mkpath(QFileInfo(path).absolutePath());
    if (const std::optional<QString> failure =
            writeFileAtomically(path, QByteArray::number(port))) {
        setLastError(QStringLiteral("port file write failed: ") + *failure);
    }
}

void IntrospectionServer::attach(const std::optional<QString>& vaultPath,
                                 const WindowContext& context) {
    if (vaultPath) {
        vaultWindows_.insert(*vaultPath, context);
    } else {
        primary_ = context;
    }
}

void IntrospectionServer::detach(const QString& vaultPath) {
    vaultWindows_.remove(vaultPath);
}

const QMap<QString, WindowContext>& IntrospectionServer::vaultWindows() {
    vaultWindows_.removeIf([](const auto& entry) { return entry.value().isGone(); });
    return vaultWindows_;
}

std::variant<IntrospectionServer::Target, HttpResponse>
IntrospectionServer::target(const std::optional<QString>& vault,
                            const std::optional<QString>& window) {
    const QMap<QString, WindowContext>& vaults = vaultWindows();
    const auto nothingFits = [&](const QString& askedFor) {
        return HttpResponse::error(
            404, QStringLiteral("no window matches that target"),
            {{QStringLiteral("asked_for"), askedFor},
             {QStringLiteral("open_vaults"), toArray(vaults.keys())},
             {QStringLiteral("open_windows"), toArray(WindowDirectory::titles())}});
    };
    if (vault) {
        if (!vaults.contains(*vault)) {
            return nothingFits(*vault);
        }
        return Target{vaults.value(*vault), *vault};
    }
    if (!window) {
        return Target{primary_, std::nullopt};
    }
    QList<WindowTarget::OpenWindow> open;
    for (QWindow* shown : WindowDirectory::visibleWindows()) {
        const std::optional<QString> root = WindowDirectory::vaultOf(shown);
        open << WindowTarget::OpenWindow{shown->title(), root, !root};
    }
    const WindowTarget::Resolution resolution = WindowTarget::resolve(window, vaults.keys(), open);
    switch (resolution.kind) {
    case WindowTarget::Resolution::Kind::primary:
        return Target{primary_, std::nullopt};
    case WindowTarget::Resolution::Kind::vault:
        if (vaults.contains(resolution.vaultPath)) {
            return Target{vaults.value(resolution.vaultPath), resolution.vaultPath};
        }
        return nothingFits(*window);
    case WindowTarget::Resolution::Kind::notResolved:
        break;
    }
    if (resolution.matched.size() > 1) {
        return HttpResponse::error(404, QStringLiteral("that target names more than one window"),
                                   {{QStringLiteral("matched"), toArray(resolution.matched)}});
    }
    return nothingFits(*window);
}

void IntrospectionServer::serve(quint64 connection, HttpRequest request) {
    // Started and left: it answers on the connection when it ends.
    answer(QPointer<IntrospectionServer>(this), connection, std::move(request));
}

QCoro::Task<> IntrospectionServer::answer(QPointer<IntrospectionServer> self, quint64 connection,
                                          HttpRequest request) {
    QCoro::Task<HttpResponse> handling = self->handle(std::move(request));
    const HttpResponse response = co_await handling;
    if (!self || !self->listener_) {
        co_return;
    }
    IntrospectionListener* listener = self->listener_;
    QMetaObject::invokeMethod(listener, [listener, connection, bytes = response.serialized()] {
        listener->respond(connection, bytes);
    });
}

QCoro::Task<HttpResponse> IntrospectionServer::handle(HttpRequest request) {
    QCoro::Task<HttpResponse> routed = IntrospectionRoutes::route(this, std::move(request));
    HttpResponse response = co_await routed;
    co_return response;
}

} // namespace mnemora
