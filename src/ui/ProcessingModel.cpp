#include "ui/ProcessingModel.h"

#include <QFileInfo>

#include "app/ConfigService.h"
#include "daemon/DaemonProcess.h"
#include "daemon/DaemonService.h"
#include "daemon/ProcessingStore.h"
#include "registry/DatabaseService.h"
#include "ui/ItemRows.h"
#include "ui/MenuBarStatus.h"

namespace mnemora {

namespace {

QVariantMap eventRow(const AssetStatusEvent& event) {
    QString subtitle = ItemRows::typeLabel(event.itemType);
    const QString status = event.statusText();
    if (!status.isEmpty()) {
        subtitle += QStringLiteral(" · ") + status;
    }
    return {
        {QStringLiteral("title"), QFileInfo(event.filePath).fileName()},
        {QStringLiteral("subtitle"), subtitle},
        {QStringLiteral("detail"), event.detail.value_or(event.partialText.value_or(QString()))},
        {QStringLiteral("path"), event.filePath}};
}

} // namespace

ProcessingModel::ProcessingModel(const WindowServices& services, QObject* parent)
    : ScreenModel(SidebarItem::processing, services, parent) {
    ProcessingStore* store = services.processing;
    connect(store, &ProcessingStore::recentEventsChanged, this, &ProcessingModel::rebuildRows);
    for (auto signal :
         {&ProcessingStore::indexRebuildChanged, &ProcessingStore::entityGenerationBusyChanged,
          &ProcessingStore::vlmPullProgressChanged}) {
        connect(store, signal, this, &ProcessingModel::storeChanged);
    }
    connect(store, &ProcessingStore::retryEvent, this, &ProcessingModel::addActivity);
    connect(store, &ProcessingStore::entityEvent, this, &ProcessingModel::addActivity);
    connect(services.daemonProcess, &DaemonProcess::modeChanged, this,
            &ProcessingModel::daemonChanged);
    connect(services.daemon, &DaemonService::statusChanged, this, &ProcessingModel::daemonChanged);
    rebuildRows();
}

QString ProcessingModel::bannerActionTitle() const {
    return banner_ && banner_->action ? banner_->action->title : QString();
}

bool ProcessingModel::bannerActionEnabled() const {
    return controlsEnabled() || !banner_ || !banner_->action ||
           banner_->action->perform != ProcessingScreen::BannerAction::Perform::restartDaemon;
}

QString ProcessingModel::schedulerLine() const {
    if (!snapshot_) {
        return {};
    }
    QString line = QStringLiteral("Queue: %1 · this session: %2 done, %3 skipped, %4 failed")
                       .arg(snapshot_->queueSize)
                       .arg(snapshot_->sessionSuccess)
                       .arg(snapshot_->sessionSkipped)
                       .arg(snapshot_->sessionFailed);
    if (snapshot_->currentlyProcessing) {
        line += QStringLiteral(" · now: ") + QFileInfo(*snapshot_->currentlyProcessing).fileName();
    }
    if (snapshot_->message) {
        line += QStringLiteral(" · ") + *snapshot_->message;
    }
    return line;
}

QString ProcessingModel::swiftLmNote() const {
    return ProcessingScreen::swiftLmNote(services().processing->vlmPullProgress())
        .value_or(QString());
}

QString ProcessingModel::indexRebuildStatus() const {
    return services().processing->indexRebuildStatus().value_or(QString());
}

double ProcessingModel::indexRebuildProgress() const {
    return services().processing->indexRebuildProgress().value_or(-1.0);
}

bool ProcessingModel::indexRebuildBusy() const {
    return services().processing->indexRebuildBusy();
}

bool ProcessingModel::entityGenerationBusy() const {
    return services().processing->entityGenerationBusy();
}

QString ProcessingModel::daemonRowText() const {
    return ProcessingScreen::daemonRowText(services().daemonProcess->mode());
}

QString ProcessingModel::controlsNote() const {
    return ProcessingScreen::daemonControlsDisabledNote(services().daemonProcess->mode())
        .value_or(QString());
}

bool ProcessingModel::controlsEnabled() const {
    return !ProcessingScreen::daemonControlsDisabledNote(services().daemonProcess->mode());
}

bool ProcessingModel::processingActive() const {
    return services().daemon->status().processingActive;
}

void ProcessingModel::onActiveChanged() {
    if (!active()) {
        pollTask_.cancel();
        return;
    }
    QPointer<ProcessingModel> self(this);
    CancellableLoop::start(pollTask_, kSchedulerPoll, CancellableLoop::FirstPass::afterInterval,
                           [self] { return pollPass(self); });
}

QCoro::Task<> ProcessingModel::pollPass(QPointer<ProcessingModel> self) {
    if (self) {
        co_await self->refreshScheduler();
    }
}

QCoro::Task<> ProcessingModel::refreshScheduler() {
    QPointer<ProcessingModel> self(this);
    QCoro::Task<std::optional<GpuSchedulerSnapshot>> fetching =
        DaemonEndpoints::gpuScheduler(services().daemon);
    std::optional<GpuSchedulerSnapshot> snapshot = co_await fetching;
    // A poll that fails keeps what the screen showed.
    if (!self || !snapshot) {
        co_return;
    }
    const ConfigService* config = services().config;
    banner_ = ProcessingScreen::banner(snapshot->recent, config->vlmBackend(), config->vlmModel());
    snapshot_ = std::move(snapshot);
    emit schedulerChanged();
    emit daemonChanged();
}

QCoro::Task<> ProcessingModel::load() {
    QPointer<ProcessingModel> self(this);
    QCoro::Task<DatabaseService::PendingCounts> counting =
        services().database->fetchPendingCounts();
    const DatabaseService::PendingCounts counts = co_await counting;
    if (!self) {
        co_return;
    }
    pendingLines_ = MenuBarStatus::pendingWorkLines(counts);
    rebuildRows();
    QCoro::Task<> scheduler = refreshScheduler();
    co_await scheduler;
}

void ProcessingModel::rebuildRows() {
    QVariantList rows;
    for (const AssetStatusEvent& event : services().processing->recentEvents()) {
        rows << eventRow(event);
    }
    setRows(rows, pendingLines_);
}

void ProcessingModel::addActivity(const QString& line) {
    activity_.prepend(line);
    while (activity_.size() > kActivityLines) {
        activity_.removeLast();
    }
    emit storeChanged();
}

void ProcessingModel::performBannerAction() {
    if (!banner_ || !banner_->action || !bannerActionEnabled()) {
        return;
    }
    switch (banner_->action->perform) {
    case ProcessingScreen::BannerAction::Perform::restartDaemon:
        restartDaemon();
        return;
    case ProcessingScreen::BannerAction::Perform::downloadModel:
        // Started and left, as every button here: the coroutine guards this model.
        maintain(std::nullopt, DaemonEndpoints::setModelPullConsent(services().daemon, true));
        return;
    case ProcessingScreen::BannerAction::Perform::disableVlmProcessing:
        if (!services().config->setFeature(QStringLiteral("caption_photos"), false)) {
            setErrorText(services().config->lastError());
        }
        return;
    }
}

void ProcessingModel::startProcessing() {
    services().daemon->processStart();
}

void ProcessingModel::stopProcessing() {
    services().daemon->processStop();
}

void ProcessingModel::restartDaemon() {
    services().daemonProcess->restart();
}

void ProcessingModel::retryFailed(const QString& kind) {
    retry(kind);
}

void ProcessingModel::rebuildIndex() {
    maintain(ProcessingScreen::Maintenance::indexRebuild,
             DaemonEndpoints::rebuildIndex(services().daemon));
}

void ProcessingModel::rescanPhotos() {
    maintain(ProcessingScreen::Maintenance::rescan,
             DaemonEndpoints::rescanPhotos(services().daemon));
}

QCoro::Task<> ProcessingModel::maintain(std::optional<ProcessingScreen::Maintenance> job,
                                        QCoro::Task<Expected<void>> request) {
    QPointer<ProcessingModel> self(this);
    const Expected<void> result = co_await request;
    if (!self) {
        co_return;
    }
    if (result.ok()) {
        setErrorText(QString());
    } else {
        setErrorText(job ? ProcessingScreen::maintenanceFailure(*job, result.error())
                         : result.error());
    }
}

QCoro::Task<> ProcessingModel::retry(QString kind) {
    QPointer<ProcessingModel> self(this);
    QCoro::Task<Expected<qint64>> retrying = DaemonEndpoints::retryKind(services().daemon, kind);
    const Expected<qint64> result = co_await retrying;
    if (!self) {
        co_return;
    }
    setErrorText(result.ok() ? QString()
                             : ProcessingScreen::maintenanceFailure(
                                   ProcessingScreen::Maintenance::retry, result.error()));
}

} // namespace mnemora
