#include "app/AppStateStore.h"

namespace mnemora {

namespace {

// Stores `value` and tells whether anything changed, so a setter signals only real changes.
template <typename T> bool assign(T& field, T value) {
    if (field == value) {
        return false;
    }
    field = std::move(value);
    return true;
}

} // namespace

AppStateStore::AppStateStore(QObject* parent)
    : QObject(parent)
    , selection_(BrandProfile::initialSelection(brand())) {}

void AppStateStore::setSelection(SidebarItem item) {
    if (assign(selection_, item)) {
        emit selectionChanged();
    }
}

void AppStateStore::setShowCommandBar(bool show) {
    if (assign(showCommandBar_, show)) {
        emit showCommandBarChanged();
    }
}

void AppStateStore::setShowOnboarding(bool show) {
    if (assign(showOnboarding_, show)) {
        emit showOnboardingChanged();
    }
}

void AppStateStore::setMediaViewerKey(std::optional<MediaKey> key) {
    if (assign(mediaViewerKey_, std::move(key))) {
        emit mediaViewerKeyChanged();
    }
}

void AppStateStore::setTranscriptionViewerData(std::optional<TranscriptionViewerData> data) {
    if (assign(transcriptionViewerData_, std::move(data))) {
        emit transcriptionViewerDataChanged();
    }
}

void AppStateStore::setRequestTimelineSearchFocus(bool request) {
    if (assign(requestTimelineSearchFocus_, request)) {
        emit requestTimelineSearchFocusChanged();
    }
}

void AppStateStore::setPendingOpenWindow(std::optional<OpenWindowRequest> request) {
    if (assign(pendingOpenWindow_, std::move(request))) {
        emit pendingOpenWindowChanged();
    }
}

void AppStateStore::setPendingOpenSettings(bool pending) {
    if (assign(pendingOpenSettings_, pending)) {
        emit pendingOpenSettingsChanged();
    }
}

void AppStateStore::setPendingDismissOverlay(bool pending) {
    if (assign(pendingDismissOverlay_, pending)) {
        emit pendingDismissOverlayChanged();
    }
}

void AppStateStore::setPendingOnboardingCommand(std::optional<QString> command) {
    if (assign(pendingOnboardingCommand_, std::move(command))) {
        emit pendingOnboardingCommandChanged();
    }
}

void AppStateStore::setPendingFirstRunClip(std::optional<FirstRunClip> clip) {
    if (assign(pendingFirstRunClip_, std::move(clip))) {
        emit pendingFirstRunClipChanged();
    }
}

void AppStateStore::setPendingTalloDestination(std::optional<QString> destination) {
    if (assign(pendingTalloDestination_, std::move(destination))) {
        emit pendingTalloDestinationChanged();
    }
}

void AppStateStore::setOnboardingStepTitle(std::optional<QString> title) {
    if (assign(onboardingStepTitle_, std::move(title))) {
        emit onboardingStepChanged();
    }
}

void AppStateStore::setOnboardingStepIndex(std::optional<int> index) {
    if (assign(onboardingStepIndex_, index)) {
        emit onboardingStepChanged();
    }
}

void AppStateStore::setOnboardingStepCount(std::optional<int> count) {
    if (assign(onboardingStepCount_, count)) {
        emit onboardingStepChanged();
    }
}

void AppStateStore::setFirstRunPhase(std::optional<QString> phase) {
    if (assign(firstRunPhase_, std::move(phase))) {
        emit firstRunPhaseChanged();
    }
}

void AppStateStore::setPendingCommandBarRun(std::optional<QString> query) {
    if (assign(pendingCommandBarRun_, std::move(query))) {
        emit pendingCommandBarRunChanged();
    }
}

void AppStateStore::setPendingPeriodStep(std::optional<QString> step) {
    if (assign(pendingPeriodStep_, std::move(step))) {
        emit pendingPeriodStepChanged();
    }
}

void AppStateStore::setPendingBooksSelection(std::optional<QString> books) {
    if (assign(pendingBooksSelection_, std::move(books))) {
        emit pendingBooksSelectionChanged();
    }
}

void AppStateStore::setShownPeriod(std::optional<QString> period) {
    if (assign(shownPeriod_, std::move(period))) {
        emit shownPeriodChanged();
    }
}

} // namespace mnemora
