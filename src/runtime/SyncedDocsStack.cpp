#include "runtime/SyncedDocsStack.h"

#include "app/Brand.h"
#include "app/UserDefaults.h"
#include "cloud/CouchRecordStore.h"
#include "cloud/RecordStoreSettings.h"
#include "core/SqliteSidecarStore.h"
#include "core/SyncedDocEngine.h"
#include "platform/Paths.h"
#include "sync/SyncLog.h"
#include "sync/SyncedDocsBridgeService.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>

namespace mnemora {

SyncedDocsStack::~SyncedDocsStack() {
    bridge_.reset();
    engine_.reset();
    sidecar_.reset();
}

QString SyncedDocsStack::sidecarPath(const QString& zoneScope) {
    const QString name = zoneScope.isEmpty()
                             ? QStringLiteral("synced-docs.sqlite")
                             : QStringLiteral("synced-docs-%1.sqlite").arg(zoneScope);
    return Paths::applicationSupportRoot() + QLatin1Char('/') + bundleIdentifier() +
           QLatin1Char('/') + name;
}

QCoro::Task<std::shared_ptr<RecordStore>> SyncedDocsStack::configuredStore(const SyncLog& log) {
    const QSettings defaults(UserDefaults().filePath(), QSettings::IniFormat);
    const RecordStoreSettings settings = RecordStoreSettings::read(defaults);
    if (!settings.isConfigured()) {
        co_return std::shared_ptr<RecordStore>();
    }
    QCoro::Task<RecordStoreSettings::AccountResult> loading = settings.loadAccount();
    const RecordStoreSettings::AccountResult account = co_await loading;
    if (!account.account) {
        log.write(QStringLiteral("[SyncedDocsBridgeService] record store account unavailable: ") +
                  account.error);
        co_return std::shared_ptr<RecordStore>();
    }
    co_return std::make_shared<CouchRecordStore>(*account.account);
}

std::unique_ptr<SyncedDocsStack> SyncedDocsStack::open(const QString& zoneScope,
                                                       QPointer<DaemonService> daemon,
                                                       std::shared_ptr<RecordStore> store,
                                                       const SyncLog& log) {
    const QString path = sidecarPath(zoneScope);
    std::unique_ptr<SyncedDocsStack> stack(new SyncedDocsStack());
    try {
        QDir().mkpath(QFileInfo(path).absolutePath());
        stack->sidecar_ = std::make_unique<core::SqliteSidecarStore>(path.toStdString());
    } catch (const std::exception&) {
        log.write(QStringLiteral("[MnemoraApp] Synced Docs sidecar store failed to open; sync "
                                 "disabled this launch"));
        return nullptr;
    }
    stack->engine_ = std::make_unique<core::SyncedDocEngine>(*stack->sidecar_);
    stack->bridge_ = std::make_unique<SyncedDocsBridgeService>(
        *stack->engine_, std::move(daemon), std::move(store),
        core::SyncedDocCollectionConfig::launchDefaults(), zoneScope, log);
    return stack;
}

} // namespace mnemora
