#pragma once

#include <QJsonArray>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QThread>

#include <QCoroTask>

#include <chrono>
#include <functional>
#include <optional>
#include <variant>

#include "introspection/HttpRequest.h"
#include "introspection/HttpResponse.h"
#include "introspection/WindowContext.h"
#include "platform/Expected.h"

namespace mnemora {

class IntrospectionListener;

// The application's own HTTP server for scripts on this machine: they read the state of every
// window, take screenshots, walk the accessibility tree, click and type, and send action words.
// It listens on 127.0.0.1 only, on a thread of its own; each complete request hops to the main
// thread, where all state lives, and the answer goes back on the same connection. One per
// process, on the main thread.
class IntrospectionServer : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isRunning READ isRunning NOTIFY isRunningChanged)
    Q_PROPERTY(QString lastError READ lastError NOTIFY lastErrorChanged)

public:
    static constexpr int maxPortAttempts = 16;
    static constexpr std::chrono::milliseconds kIdleTimeout{10'000};

    // What only the composition root can do, handed in by it.
    struct Hooks {
        // Builds the demo vault and asks for its window; the vault's path or the words of why not.
        std::function<Expected<QString>(const QString& slug, const QString& displayName)> openDemo;
        // Restarts a vault's sync from nothing; false when no vault is open at that path.
        std::function<bool(const QString& vaultPath)> restartBridge;
        // The record store's zones of synced documents, each {name, scope}.
        std::function<QCoro::Task<Expected<QJsonArray>>()> listSyncZones;
        // Deletes the zones of one vault scope; the names deleted.
        std::function<QCoro::Task<Expected<QStringList>>(const QString& scope)> forgetSyncZones;
    };

    explicit IntrospectionServer(QObject* parent = nullptr);
    ~IntrospectionServer() override;

    bool isRunning() const { return isRunning_; }
    std::optional<int> port() const { return port_; }
    // Empty when there is none.
    const QString& lastError() const { return lastError_; }

    // Binds the first free port from the brand's base upward; does nothing while listening.
    void start();
    void stop();

    // The first port tried; the brand's unless a test moves it out of the way.
    int basePort() const;
    void setBasePort(int port) { basePortOverride_ = port; }
    void setIdleTimeout(std::chrono::milliseconds timeout) { idleTimeout_ = timeout; }
    void setHooks(Hooks hooks) { hooks_ = std::move(hooks); }
    const Hooks& hooks() const { return hooks_; }

    // Records what a window shows: none for the primary window, else the vault's path.
    void attach(const std::optional<QString>& vaultPath, const WindowContext& context);
    void detach(const QString& vaultPath);
    const WindowContext& primary() const { return primary_; }
    // Open vault windows by path, with gone ones dropped first.
    const QMap<QString, WindowContext>& vaultWindows();

    // Where scripts find the port: `{caches}/{bundle id}/native_introspection.port`.
    static QString portFilePath();

    // The window a request names by `vault` or `window`, or the answer that says why none fits.
    struct Target {
        WindowContext context;
        std::optional<QString> vaultPath; // none: the primary window
    };
    std::variant<Target, HttpResponse> target(const std::optional<QString>& vault,
                                              const std::optional<QString>& window);

    // Routes one request; every failure is an answer.
    QCoro::Task<HttpResponse> handle(HttpRequest request);

signals:
    void isRunningChanged();
    void portChanged();
    void lastErrorChanged();

private:
    std::optional<QString> bindOnListenerThread(int port);
    void setRunning(std::optional<int> port);
    void setLastError(const QString& error);
    void writePortFile(int port);
    void serve(quint64 connection, HttpRequest request);
    static QCoro::Task<> answer(QPointer<IntrospectionServer> self, quint64 connection,
                                HttpRequest request);

    QThread thread_;
    IntrospectionListener* listener_ = nullptr;
    bool listening_ = false;
    bool isRunning_ = false;
    std::optional<int> port_;
    QString lastError_;
    std::optional<int> basePortOverride_;
    std::chrono::milliseconds idleTimeout_ = kIdleTimeout;
    Hooks hooks_;
    WindowContext primary_;
    QMap<QString, WindowContext> vaultWindows_;
};

} // namespace mnemora
