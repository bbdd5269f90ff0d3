#include "ui/TrayItem.h"

#include <QApplication>
#include <QMenu>
#include <QSystemTrayIcon>

#include "app/AppStateStore.h"
#include "daemon/DaemonProcess.h"
#include "daemon/DaemonService.h"
#include "daemon/ProcessingStore.h"
#include "platform/FileReveal.h"
#include "runtime/VaultManager.h"
#include "runtime/VaultRuntime.h"
#include "ui/MenuBarStatus.h"

namespace mnemora {

namespace {

void addLine(QMenu& menu, const QString& text) {
    menu.addAction(text)->setEnabled(false);
}

} // namespace

TrayItem::TrayItem(const WindowServices& primary, VaultManager& vaults, Actions actions,
                   QObject* parent)
    : QObject(parent)
    , primary_(primary)
    , vaults_(vaults)
    , actions_(std::move(actions))
    , icon_(new QSystemTrayIcon(QApplication::windowIcon(), this))
    , menu_(new QMenu()) {
    icon_->setContextMenu(menu_);
    connect(icon_, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason why) {
                if (why == QSystemTrayIcon::Trigger) {
                    actions_.showMainWindow();
                }
            });
    connect(menu_, &QMenu::aboutToShow, this, &TrayItem::rebuildMenu);
    connect(primary.daemon, &DaemonService::statusChanged, this, &TrayItem::updateToolTip);
    connect(primary.database, &DatabaseService::openQuestionsChanged, this,
            &TrayItem::updateToolTip);
    connect(primary.daemonProcess, &DaemonProcess::modeChanged, this, &TrayItem::rebuildMenu);
    connect(primary.processing, &ProcessingStore::indexRebuildTickChanged, this, [this] {
        // Started and left: the read guards this item.
        refreshPendingCounts();
    });
    updateToolTip();
    rebuildMenu();
    icon_->show();
    refreshPendingCounts();
}

TrayItem::~TrayItem() {
    delete menu_;
}

QString TrayItem::toolTip() const {
    // No usage-limit pause is tracked yet, so the tooltip never carries that suffix.
    return MenuBarStatus::tooltip(primary_.name, primary_.daemon->status(), false,
                                  static_cast<int>(primary_.openQuestions().size()));
}

void TrayItem::updateToolTip() {
    icon_->setToolTip(toolTip());
}

void TrayItem::rebuildMenu() {
    menu_->clear();
    menu_->addAction(QStringLiteral("Open ") + primary_.name, this,
                     [this] { actions_.showMainWindow(); });
    menu_->addSeparator();
    for (const QString& line : MenuBarStatus::pendingWorkLines(pending_)) {
        addLine(*menu_, line);
    }
    // The skills live on the integrations screen of the main window.
    menu_->addAction(QStringLiteral("Get started with skills…"), this, [this] {
        primary_.appState->setSelection(SidebarItem::integrations);
        actions_.showMainWindow();
    });
    addDaemonSection();
    addVaultRows();
    menu_->addSeparator();
    menu_->addAction(QStringLiteral("Quit ") + primary_.name, this, [this] { actions_.quit(); });
}

void TrayItem::addDaemonSection() {
    DaemonProcess* process = primary_.daemonProcess;
    if (const auto line = MenuBarStatus::statusLine(primary_.daemon->status(), primary_.name)) {
        addLine(*menu_, *line);
    }
    if (const auto line = MenuBarStatus::modeLine(process->mode())) {
        addLine(*menu_, *line);
    }
    menu_->addSeparator();
    QPointer<DaemonProcess> daemon(process);
    for (MenuBarStatus::DaemonLifecycleAction action : MenuBarStatus::kDaemonLifecycleActions) {
        QAction* item = menu_->addAction(MenuBarStatus::daemonCommandTitle(action, primary_.name));
        switch (action) {
        case MenuBarStatus::DaemonLifecycleAction::start:
            item->setEnabled(!process->isRunning());
            // Started and left, as each of these: the supervisor finishes its own work.
            connect(item, &QAction::triggered, this, [daemon] {
                if (daemon) {
                    daemon->start();
                }
            });
            break;
        case MenuBarStatus::DaemonLifecycleAction::stop:
            item->setEnabled(process->hasProcess());
            connect(item, &QAction::triggered, this, [daemon] {
                if (daemon) {
                    daemon->stop();
                }
            });
            break;
        case MenuBarStatus::DaemonLifecycleAction::restart:
            connect(item, &QAction::triggered, this, [daemon] {
                if (daemon) {
                    daemon->restart();
                }
            });
            break;
        }
    }
    const QString log = process->logFilePath();
    menu_->addAction(MenuBarStatus::revealLogTitle(primary_.name), this,
                     [log] { FileReveal::reveal(log); });
}

void TrayItem::addVaultRows() {
    if (vaults_.openVaults().isEmpty()) {
        return;
    }
    menu_->addSeparator();
    for (const QString& path : vaults_.openVaults()) {
        const WindowServices vault = WindowServices::vault(vaults_.runtime(path));
        menu_->addAction(MenuBarStatus::otherVaultRow(vault.name, vault.daemonProcess->isRunning()),
                         this, [this, path] { actions_.openVaultWindow(path); });
    }
}

QCoro::Task<> TrayItem::refreshPendingCounts() {
    QPointer<TrayItem> self(this);
    QCoro::Task<DatabaseService::PendingCounts> counting = primary_.database->fetchPendingCounts();
    const DatabaseService::PendingCounts counts = co_await counting;
    if (!self) {
        co_return;
    }
    pending_ = counts;
    rebuildMenu();
}

} // namespace mnemora
