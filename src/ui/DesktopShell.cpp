#include "ui/DesktopShell.h"

#include <QApplication>
#include <QIcon>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QSystemTrayIcon>
#include <QTimer>
#include <QtQml/qqml.h>

#include "app/Brand.h"
#include "app/Log.h"
#include "app/OpenWindowRequest.h"
#include "introspection/IntrospectionServer.h"
#include "runtime/MnemoraApp.h"
#include "runtime/VaultManager.h"
#include "runtime/VaultRuntime.h"
#include "runtime/VaultWindowModel.h"
#include "ui/TrayItem.h"
#include "ui/WindowShell.h"
#include "voice/AnswerControlModel.h"
#include "voice/PushToTalkModel.h"

namespace mnemora {

namespace {

const QString kSource = QStringLiteral("DesktopShell");

// The product's icon, named like its desktop file.
QString iconIdentifier(Brand brand) {
    switch (brand) {
    case Brand::voxlet:
        return QStringLiteral("vox.let");
    case Brand::tallo:
        return QStringLiteral("tallo.ai");
    case Brand::mnemora:
        break;
    }
    return QStringLiteral("ai.mnemora");
}

void raise(QQuickWindow* window) {
    window->show();
    // A platform without a window stack (offscreen) has nothing to raise, and says so.
    if (QGuiApplication::platformName() != QLatin1String("offscreen")) {
        window->raise();
    }
    window->requestActivate();
}

} // namespace

DesktopShell::DesktopShell(MnemoraApp& app, VaultManager& vaults, QObject* parent)
    : QObject(parent)
    , app_(app)
    , vaults_(vaults) {}

DesktopShell::~DesktopShell() {
    // Windows first: their views bind to the shells and to the engine.
    delete mainWindow_;
    qDeleteAll(vaultWindows_);
}

void DesktopShell::registerVoiceTypes() {
    static bool registered = false;
    if (registered) {
        return;
    }
    registered = true;
    const char* uri = "Mnemora.Voice";
    qmlRegisterType<AnswerControlModel>(uri, 1, 0, "AnswerControlModel");
    qmlRegisterType<PushToTalkModel>(uri, 1, 0, "PushToTalkModel");
    const QString made = QStringLiteral("made by the controls");
    qmlRegisterUncreatableType<HoldToRecordController>(uri, 1, 0, "HoldToRecordController", made);
    qmlRegisterUncreatableType<AudioRecorder>(uri, 1, 0, "AudioRecorder", made);
}

void DesktopShell::applyStyle() {
    // The style is the process's and can be chosen only before the first window loads.
    static bool styled = false;
    if (!styled) {
        QQuickStyle::setStyle(QStringLiteral("Fusion"));
        styled = true;
    }
    QGuiApplication::setWindowIcon(
        QIcon(QStringLiteral(":/icons/") + iconIdentifier(brand()) + QStringLiteral(".svg")));
    QGuiApplication::setDesktopFileName(iconIdentifier(brand()));
}

void DesktopShell::start() {
    applyStyle();
    registerVoiceTypes();
    engine_ = std::make_unique<QQmlEngine>();
    mainShell_ = new WindowShell(WindowServices::primary(app_), nullptr, this);
    connectShell(mainShell_);
    mainWindow_ = createWindow(mainShell_);
    if (mainWindow_) {
        mainWindow_->show();
    }
    if (QSystemTrayIcon::isSystemTrayAvailable()) {
        tray_ = new TrayItem(WindowServices::primary(app_), vaults_,
                             {[this] { showMainWindow(); },
                              [this](const QString& path) { openVaultWindow(path); },
                              [] { QCoreApplication::quit(); }},
                             this);
        QGuiApplication::setQuitOnLastWindowClosed(false);
    } else {
        // Without a tray nothing would be left to reach a window-less process by, so closing
        // the last window quits; the quit runs AppDelegate's termination order like any other.
        QGuiApplication::setQuitOnLastWindowClosed(true);
        Log::line(kSource, QStringLiteral("no system tray on this desktop: closing the last "
                                          "window quits the application"));
    }
    mainShell_->servePending();
}

void DesktopShell::connectShell(WindowShell* shell) {
    connect(shell, &WindowShell::openWindowRequested, this, &DesktopShell::open);
}

QQuickWindow* DesktopShell::createWindow(WindowShell* shell) {
    QQmlComponent component(engine_.get(), QUrl(QStringLiteral("qrc:/qml/MainWindow.qml")));
    QObject* object = component.createWithInitialProperties(
        {{QStringLiteral("shell"), QVariant::fromValue<QObject*>(shell)}});
    auto* window = qobject_cast<QQuickWindow*>(object);
    if (!window) {
        Log::line(kSource,
                  QStringLiteral("the window could not be built: ") + component.errorString());
        delete object;
        return nullptr;
    }
    // The tag is set once the view is mounted, on the next turn of the event loop.
    QTimer::singleShot(0, window,
                       [window, tag = shell->windowTag()] { window->setObjectName(tag); });
    return window;
}

void DesktopShell::showMainWindow() {
    if (mainWindow_) {
        raise(mainWindow_);
    }
}

void DesktopShell::openVaultWindow(const QString& path) {
    if (QQuickWindow* window = vaultWindows_.value(path)) {
        raise(window);
        return;
    }
    auto* model = new VaultWindowModel(vaults_, path, this);
    // Started and left: the window shows "Opening vault…" until the model says it has started.
    model->appear();
    auto* shell = new WindowShell(WindowServices::vault(*model->runtime()), model, this);
    connectShell(shell);
    QQuickWindow* window = createWindow(shell);
    if (!window) {
        return;
    }
    vaultWindows_.insert(path, window);
    // Automation sees a vault window while it shows, once its runtime is up.
    const auto enter = [this, model, window, path] {
        if (window->isVisible() && model->started()) {
            app_.introspection().attach(path, model->runtime()->windowContext());
        } else if (!window->isVisible()) {
            app_.introspection().detach(path);
        }
    };
    connect(model, &VaultWindowModel::startedChanged, window, enter);
    connect(window, &QWindow::visibleChanged, model, enter);
    raise(window);
    enter();
    shell->servePending();
}

void DesktopShell::open(const OpenWindowRequest& request) {
    if (request.id == QLatin1String("main")) {
        showMainWindow();
        return;
    }
    if (request.id == QLatin1String("vault-window") && request.value) {
        openVaultWindow(*request.value);
        return;
    }
    Log::line(kSource, QStringLiteral("no window of the kind \"") + request.id +
                           QStringLiteral("\" in this version"));
}

} // namespace mnemora
