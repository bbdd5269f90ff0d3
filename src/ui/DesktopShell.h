#pragma once

#include <QMap>
#include <QObject>
#include <QPointer>
#include <QString>

#include <memory>

class QQmlEngine;
class QQuickWindow;

namespace mnemora {

class MnemoraApp;
class TrayItem;
class VaultManager;
class VaultWindowModel;
class WindowShell;
struct OpenWindowRequest;

// The desktop face of the application: the main window of the primary vault, one window per
// further vault, and the tray item. Windows are kept when closed and shown again when asked for,
// so a vault's window comes back as it was while its runtime keeps running.
class DesktopShell : public QObject {
    Q_OBJECT

public:
    DesktopShell(MnemoraApp& app, VaultManager& vaults, QObject* parent = nullptr);
    ~DesktopShell() override;

    // Sets the look, loads the main window and creates the tray item when the desktop has a tray.
    void start();

    QQuickWindow* mainWindow() const { return mainWindow_; }
    WindowShell* mainShell() const { return mainShell_; }
    QQuickWindow* vaultWindow(const QString& path) const { return vaultWindows_.value(path); }
    TrayItem* tray() const { return tray_; }
    QQmlEngine& engine() const { return *engine_; }

    void showMainWindow();
    void openVaultWindow(const QString& path);
    void open(const OpenWindowRequest& request);

    // The look every window shares: the Fusion style with the desktop's font and palette.
    static void applyStyle();
    // The voice controls' models, made by the QML that shows them.
    static void registerVoiceTypes();

private:
    QQuickWindow* createWindow(WindowShell* shell);
    void connectShell(WindowShell* shell);

    MnemoraApp& app_;
    VaultManager& vaults_;
    std::unique_ptr<QQmlEngine> engine_;
    WindowShell* mainShell_ = nullptr;
    QQuickWindow* mainWindow_ = nullptr;
    QMap<QString, QQuickWindow*> vaultWindows_;
    TrayItem* tray_ = nullptr;
};

} // namespace mnemora
