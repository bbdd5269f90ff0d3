#include "ui/DemoMonthOffer.h"

#include "app/AppStateStore.h"
#include "app/UserDefaults.h"
#include "runtime/VaultManager.h"
#include "setup/FirstRun.h"

namespace mnemora {

namespace {

const QString kPending = QString::fromLatin1(UserDefaults::demoOfferPending);
const QString kDeclined = QString::fromLatin1(UserDefaults::demoOfferDeclined);

} // namespace

DemoMonthOffer::DemoMonthOffer(AppStateStore* appState, QObject* parent)
    : QObject(parent)
    , appState_(appState)
    , maker_([] {
        return VaultManager::shared().makeDemoVault(
            QString::fromLatin1(DemoVault::kTalloSlug),
            QString::fromLatin1(DemoVault::kTalloDisplayName));
    }) {}

bool DemoMonthOffer::pending() const {
    return UserDefaults().boolValue(kPending);
}

bool DemoMonthOffer::declined() const {
    return UserDefaults().boolValue(kDeclined);
}

QString DemoMonthOffer::title() const {
    return FirstRun::Text::demoOffer;
}

QString DemoMonthOffer::detail() const {
    return FirstRun::Text::demoOfferDetail;
}

void DemoMonthOffer::accept() {
    if (opening_ || !shown()) {
        return;
    }
    opening_ = true;
    failure_.clear();
    emit changed();
    const DemoVault::Result made = maker_();
    opening_ = false;
    if (!made.ok()) {
        failure_ = QStringLiteral("Couldn't set the demo up: ") + made.error +
                   QStringLiteral(" Your own period is unaffected.");
        emit changed();
        return;
    }
    if (appState_) {
        appState_->setPendingOpenWindow(
            OpenWindowRequest{QStringLiteral("vault-window"), made.vaultPath});
    }
    UserDefaults().setBool(kPending, false);
    emit changed();
}

void DemoMonthOffer::decline() {
    UserDefaults().setBool(kDeclined, true);
    emit changed();
}

} // namespace mnemora
