#pragma once

#include <QObject>
#include <QPointer>

#include <QCoroTask>

#include <functional>

#include "registry/DatabaseService.h"
#include "ui/WindowServices.h"

class QMenu;
class QSystemTrayIcon;

namespace mnemora {

class VaultManager;

// The tray item: a tooltip that says what the primary daemon is doing, and a menu with the work
// still waiting, the daemon's commands and its log, the other open vaults, and Quit. Quitting
// goes through the application's normal termination order.
class TrayItem : public QObject {
    Q_OBJECT

public:
    struct Actions {
        std::function<void()> showMainWindow;
        std::function<void(const QString& vaultPath)> openVaultWindow;
        std::function<void()> quit;
    };

    TrayItem(const WindowServices& primary, VaultManager& vaults, Actions actions,
             QObject* parent = nullptr);
    ~TrayItem() override;

    QString toolTip() const;
    // Rebuilds the menu from the state as it is now.
    void rebuildMenu();
    QMenu& menu() const { return *menu_; }

    // Reads the work still waiting, then rebuilds the menu.
    QCoro::Task<> refreshPendingCounts();

private:
    void updateToolTip();
    void addDaemonSection();
    void addVaultRows();

    WindowServices primary_;
    VaultManager& vaults_;
    Actions actions_;
    QSystemTrayIcon* icon_ = nullptr;
    QMenu* menu_ = nullptr;
    DatabaseService::PendingCounts pending_;
};

} // namespace mnemora
