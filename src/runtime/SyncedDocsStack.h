#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

#include <QCoroTask>

#include <memory>

namespace mnemora {

class DaemonService;
class RecordStore;
class SyncedDocsBridgeService;
class SyncLog;

namespace core {
class SqliteSidecarStore;
class SyncedDocEngine;
} // namespace core

// One vault's synced documents: the sidecar file, the document engine over it and the bridge
// that carries them to the record store. Built at once or not at all; the bridge goes first when
// the stack is dropped, since it uses the engine and the engine the sidecar.
class SyncedDocsStack {
public:
    ~SyncedDocsStack();
    SyncedDocsStack(const SyncedDocsStack&) = delete;
    SyncedDocsStack& operator=(const SyncedDocsStack&) = delete;

    // `{data}/{bundleIdentifier}/synced-docs.sqlite`, or `synced-docs-{scope}.sqlite` for a
    // vault with a scope of its own.
    static QString sidecarPath(const QString& zoneScope);

    // The record store the settings name, with its password from the keyring; none when no
    // store is set up or its account cannot be read (the log says why).
    static QCoro::Task<std::shared_ptr<RecordStore>> configuredStore(const SyncLog& log);

    // Opens the sidecar and builds the bridge, not yet started; none when the sidecar cannot be
    // opened, which the sync log is told.
    static std::unique_ptr<SyncedDocsStack> open(const QString& zoneScope,
                                                 QPointer<DaemonService> daemon,
                                                 std::shared_ptr<RecordStore> store,
                                                 const SyncLog& log);

    SyncedDocsBridgeService& bridge() const { return *bridge_; }
    core::SyncedDocEngine& engine() const { return *engine_; }

private:
    SyncedDocsStack() = default;

    std::unique_ptr<core::SqliteSidecarStore> sidecar_;
    std::unique_ptr<core::SyncedDocEngine> engine_;
    std::unique_ptr<SyncedDocsBridgeService> bridge_;
};

} // namespace mnemora
