#include "app/AppStateStore.h"

namespace mnemora {

AppStateStore::AppStateStore(QObject* parent)
    : QObject(parent)
    , selection_(BrandProfile::initialSelection(brand())) {}

void AppStateStore::setSelection(SidebarItem item) {
    if (selection_ != item) {
        selection_ = item;
        emit selectionChanged();
    }
}

void AppStateStore::setShowOnboarding(bool show) {
    if (showOnboarding_ != show) {
        showOnboarding_ = show;
        emit showOnboardingChanged();
    }
}

void AppStateStore::setPendingOpenWindow(std::optional<OpenWindowRequest> request) {
    if (pendingOpenWindow_ != request) {
        pendingOpenWindow_ = std::move(request);
        emit pendingOpenWindowChanged();
    }
}

} // namespace mnemora
