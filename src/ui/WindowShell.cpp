#include "ui/WindowShell.h"

#include "app/AppStateStore.h"
#include "app/ConfigService.h"
#include "daemon/DaemonProcess.h"
#include "daemon/DaemonService.h"
#include "daemon/ProcessingStore.h"
#include "migration/MigrationGate.h"
#include "registry/DatabaseService.h"
#include "runtime/VaultWindowModel.h"
#include "setup/FirstRunView.h"
#include "ui/CommandBarModel.h"
#include "ui/ConflictsNotice.h"
#include "ui/DemoMonthOffer.h"
#include "ui/FirstRunWiring.h"
#include "ui/HomeModel.h"
#include "ui/IntegrationsModel.h"
#include "ui/KnowledgeModel.h"
#include "ui/LifeBookModel.h"
#include "ui/ProcessingModel.h"
#include "ui/ScreenTexts.h"
#include "ui/SourcesModel.h"
#include "ui/TalloShellModel.h"
#include "ui/TimelineModel.h"
#include "ui/TranscribeModel.h"

namespace mnemora {

namespace {

QString screenFile(SidebarItem item) {
    switch (item) {
    case SidebarItem::home:
        // Tallo's home is its books and periods, with the questions as one of their surfaces.
        return brand() == Brand::tallo ? QStringLiteral("TalloShell.qml")
                                       : QStringLiteral("HomeScreen.qml");
    case SidebarItem::lifeBook:
        return QStringLiteral("LifeBookScreen.qml");
    case SidebarItem::transcribe:
        return QStringLiteral("TranscribeScreen.qml");
    case SidebarItem::people:
        return QStringLiteral("KnowledgeScreen.qml");
    case SidebarItem::timeline:
        return QStringLiteral("TimelineScreen.qml");
    case SidebarItem::sources:
        return QStringLiteral("SourcesScreen.qml");
    case SidebarItem::integrations:
        return QStringLiteral("IntegrationsScreen.qml");
    case SidebarItem::processing:
        return QStringLiteral("ProcessingScreen.qml");
    }
    return {};
}

ScreenModel* makeScreen(SidebarItem item, const WindowServices& services, QObject* parent) {
    switch (item) {
    case SidebarItem::home:
        return brand() == Brand::tallo ? new TalloShellModel(services, parent)
                                       : new HomeModel(services, parent);
    case SidebarItem::lifeBook:
        return new LifeBookModel(services, parent);
    case SidebarItem::transcribe:
        return new TranscribeModel(services, parent);
    case SidebarItem::people:
        return new KnowledgeModel(services, parent);
    case SidebarItem::timeline:
        return new TimelineModel(services, parent);
    case SidebarItem::sources:
        return new SourcesModel(services, parent);
    case SidebarItem::integrations:
        return new IntegrationsModel(services, parent);
    case SidebarItem::processing:
        return new ProcessingModel(services, parent);
    }
    return nullptr;
}

} // namespace

WindowShell::WindowShell(const WindowServices& services, VaultWindowModel* vaultWindow,
                         QObject* parent)
    : QObject(parent)
    , services_(services)
    , vaultWindow_(vaultWindow)
    , commandBar_(new CommandBarModel(services, this))
    , conflicts_(
          new ConflictsNotice(services.vaultRoot.value_or(services.config->vaultRoot()), this)) {
    buildScreens();
    if (!vaultWindow) {
        firstRun_ = FirstRunWiring::make(services, this);
    }
    auto* tallo = qobject_cast<TalloShellModel*>(talloShell());
    if (firstRun_ && tallo && tallo->demoOffer()) {
        // The first run leaves the made-up month on offer as it ends.
        connect(firstRun_, &FirstRunView::presentedChanged, tallo->demoOffer(),
                &DemoMonthOffer::refresh);
    }
    AppStateStore* state = services.appState;
    connect(state, &AppStateStore::selectionChanged, this, [this] {
        emit selectionChanged();
        activateSelection();
    });
    connect(state, &AppStateStore::showCommandBarChanged, this,
            &WindowShell::showCommandBarChanged);
    connect(state, &AppStateStore::pendingOpenWindowChanged, this, &WindowShell::consumeOpenWindow);
    connect(state, &AppStateStore::pendingCommandBarRunChanged, this,
            &WindowShell::consumeCommandBarRun);
    connect(state, &AppStateStore::pendingDismissOverlayChanged, this,
            &WindowShell::consumeDismissOverlay);
    connect(state, &AppStateStore::requestTimelineSearchFocusChanged, this,
            &WindowShell::consumeTimelineSearchFocus);
    connect(services.daemon, &DaemonService::statusChanged, this, &WindowShell::daemonChanged);
    connect(services.config, &ConfigService::configChanged, this, [this] {
        conflicts_->setVaultRoot(services_.vaultRoot.value_or(services_.config->vaultRoot()));
    });
    connect(services.daemonProcess, &DaemonProcess::modeChanged, this, &WindowShell::daemonChanged);

    QPointer<WindowShell> self(this);
    // Started and left, both: each guards this shell and only reloads what it shows.
    connect(services.processing, &ProcessingStore::indexRebuildTickChanged, this,
            [self] { onIndexTick(self); });
    connect(services.processing, &ProcessingStore::questionsChanged, this,
            [self] { reloadQuestions(self); });
    connect(services.database, &DatabaseService::isOpenChanged, this,
            &WindowShell::activateSelection);
    if (vaultWindow) {
        connect(vaultWindow, &VaultWindowModel::startedChanged, this, [this] {
            emit openingChanged();
            activateSelection();
        });
    }
    activateSelection();
}

QObject* WindowShell::conflictsObject() const {
    return conflicts_;
}

void WindowShell::servePending() {
    consumeOpenWindow();
    consumeCommandBarRun();
    consumeDismissOverlay();
    consumeTimelineSearchFocus();
}

int WindowShell::selectionIndex() const {
    return static_cast<int>(
        BrandProfile::sidebarItems(brand()).indexOf(services_.appState->selection()));
}

WindowShell::~WindowShell() = default;

void WindowShell::buildScreens() {
    for (SidebarItem item : BrandProfile::sidebarItems(brand())) {
        screens_.insert(item, makeScreen(item, services_, this));
    }
}

QString WindowShell::title() const {
    return services_.name;
}

QString WindowShell::windowTag() const {
    return vaultWindow_ ? vaultWindow_->windowTag() : VaultWindowModel::primaryWindowTag();
}

int WindowShell::minimumWidth() const {
    return BrandProfile::minimumWindowWidth(brand());
}

int WindowShell::minimumHeight() const {
    return BrandProfile::minimumWindowHeight(brand());
}

bool WindowShell::opening() const {
    return vaultWindow_ && !vaultWindow_->started();
}

QString WindowShell::openingText() const {
    return vaultWindow_ ? vaultWindow_->statusText() : QString();
}

QVariantList WindowShell::sidebarItems() const {
    QVariantList items;
    for (SidebarItem item : BrandProfile::sidebarItems(brand())) {
        items << QVariantMap{{QStringLiteral("word"), sidebarItemWord(item)},
                             {QStringLiteral("label"), BrandProfile::sidebarLabel(item, brand())},
                             {QStringLiteral("screen"), screenFile(item)}};
    }
    return items;
}

QString WindowShell::selection() const {
    return sidebarItemWord(services_.appState->selection());
}

void WindowShell::setSelection(const QString& word) {
    for (auto it = screens_.cbegin(); it != screens_.cend(); ++it) {
        if (sidebarItemWord(it.key()) == word) {
            services_.appState->setSelection(it.key());
            return;
        }
    }
}

QString WindowShell::daemonHeadline() const {
    return ScreenTexts::daemonHeadline(services_.daemon->status(), services_.name);
}

QString WindowShell::daemonDetail() const {
    return ScreenTexts::daemonDetail(services_.daemon->status(), services_.daemonProcess->mode());
}

bool WindowShell::showCommandBar() const {
    return services_.appState->showCommandBar();
}

void WindowShell::setShowCommandBar(bool show) {
    if (show && !showCommandBar()) {
        commandBar_->prepare();
    }
    services_.appState->setShowCommandBar(show);
}

QObject* WindowShell::migrationGate() const {
    return services_.migrationGate;
}

QObject* WindowShell::firstRunObject() const {
    return firstRun_;
}

QObject* WindowShell::talloShell() const {
    return brand() == Brand::tallo ? screens_.value(SidebarItem::home) : nullptr;
}

QObject* WindowShell::commandBarObject() const {
    return commandBar_;
}

QObject* WindowShell::screen(const QString& word) const {
    for (auto it = screens_.cbegin(); it != screens_.cend(); ++it) {
        if (sidebarItemWord(it.key()) == word) {
            return it.value();
        }
    }
    return nullptr;
}

void WindowShell::activateSelection() {
    const SidebarItem selected = services_.appState->selection();
    const bool ready = !opening();
    for (auto it = screens_.cbegin(); it != screens_.cend(); ++it) {
        if (it.key() != selected) {
            it.value()->setActive(false);
        }
    }
    if (ScreenModel* shown = screens_.value(selected)) {
        if (shown->active() && ready) {
            shown->reload();
        }
        shown->setActive(ready);
    }
}

void WindowShell::consumeOpenWindow() {
    const std::optional<OpenWindowRequest> request = services_.appState->pendingOpenWindow();
    if (!request) {
        return;
    }
    services_.appState->setPendingOpenWindow(std::nullopt);
    emit openWindowRequested(*request);
}

void WindowShell::consumeCommandBarRun() {
    const std::optional<QString> query = services_.appState->pendingCommandBarRun();
    if (!query) {
        return;
    }
    services_.appState->setPendingCommandBarRun(std::nullopt);
    commandBar_->runQuery(*query);
}

void WindowShell::consumeDismissOverlay() {
    if (!services_.appState->pendingDismissOverlay()) {
        return;
    }
    services_.appState->setPendingDismissOverlay(false);
    services_.appState->setShowCommandBar(false);
}

void WindowShell::consumeTimelineSearchFocus() {
    if (!services_.appState->requestTimelineSearchFocus()) {
        return;
    }
    services_.appState->setRequestTimelineSearchFocus(false);
    if (screens_.contains(SidebarItem::timeline)) {
        services_.appState->setSelection(SidebarItem::timeline);
        emit timelineSearchFocusRequested();
    }
}

QCoro::Task<> WindowShell::onIndexTick(QPointer<WindowShell> self) {
    // The index may have been built since start-up; open it before the screens read it.
    if (self && !self->services_.database->isOpen()) {
        QCoro::Task<> opening = self->services_.database->open();
        co_await opening;
    }
    if (self) {
        self->activateSelection();
    }
}

QCoro::Task<> WindowShell::reloadQuestions(QPointer<WindowShell> self) {
    if (self) {
        QCoro::Task<> loading = self->services_.database->loadOpenQuestions();
        co_await loading;
    }
}

} // namespace mnemora
