#include "runtime/VaultWindowModel.h"

#include <QCoroTimer>

#include "app/AppStateStore.h"
#include "runtime/VaultManager.h"
#include "runtime/VaultRuntime.h"

namespace mnemora {

namespace {

bool& mainAppearedFlag() {
    static bool appeared = false;
    return appeared;
}

} // namespace

VaultWindowModel::VaultWindowModel(VaultManager& manager, const QString& vaultPath, QObject* parent)
    : QObject(parent)
    , manager_(manager)
    , vaultPath_(vaultPath) {}

QString VaultWindowModel::statusText() const {
    return started_ ? QString() : QStringLiteral("Opening vault…");
}

QString VaultWindowModel::windowTag() const {
    return QStringLiteral("tallo.window.vault:") + vaultPath_;
}

QString VaultWindowModel::primaryWindowTag() {
    return QStringLiteral("tallo.window.primary");
}

void VaultWindowModel::markMainAppeared() {
    mainAppearedFlag() = true;
}

bool VaultWindowModel::mainHasAppeared() {
    return mainAppearedFlag();
}

void VaultWindowModel::resetMainAppearedForTesting() {
    mainAppearedFlag() = false;
}

QCoro::Task<> VaultWindowModel::appear(std::chrono::milliseconds mainWindowGrace) {
    QPointer<VaultWindowModel> self(this);
    openMainUnlessItAppears(self, mainWindowGrace);

    // 1. The runtime of this vault, shared with any other window of it.
    VaultRuntime& runtime = manager_.runtime(vaultPath_);
    runtime_ = &runtime;

    // 2. Its start; a re-opened window finds it started and its daemon untouched.
    co_await runtime.start();
    if (!self) {
        co_return;
    }
    // 5. The content.
    started_ = true;
    emit startedChanged();
}

QCoro::Task<> VaultWindowModel::openMainUnlessItAppears(QPointer<VaultWindowModel> self,
                                                        std::chrono::milliseconds grace) {
    QTimer timer;
    timer.setSingleShot(true);
    timer.start(grace);
    co_await timer;
    if (!self || mainHasAppeared()) {
        co_return;
    }
    VaultRuntime& runtime = self->manager_.runtime(self->vaultPath_);
    runtime.appState().setPendingOpenWindow(OpenWindowRequest{QStringLiteral("main"), {}});
}

} // namespace mnemora
