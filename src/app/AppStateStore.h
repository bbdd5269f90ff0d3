#pragma once

#include <QObject>
#include <QString>

#include <optional>

#include "app/Brand.h"
#include "app/OpenWindowRequest.h"

namespace mnemora {

// A window's interface state: the switchboard between code that is no screen and the screens.
// Such code sets a field here; the mounted root view consumes it. Nothing is persisted. Each
// window has its own store. A `pending...` field is set by one side and cleared by the consumer.
class AppStateStore : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool showCommandBar READ showCommandBar WRITE setShowCommandBar NOTIFY
                   showCommandBarChanged)
    Q_PROPERTY(bool showOnboarding READ showOnboarding WRITE setShowOnboarding NOTIFY
                   showOnboardingChanged)
    Q_PROPERTY(bool requestTimelineSearchFocus READ requestTimelineSearchFocus WRITE
                   setRequestTimelineSearchFocus NOTIFY requestTimelineSearchFocusChanged)
    Q_PROPERTY(bool pendingOpenSettings READ pendingOpenSettings WRITE setPendingOpenSettings NOTIFY
                   pendingOpenSettingsChanged)
    Q_PROPERTY(bool pendingDismissOverlay READ pendingDismissOverlay WRITE setPendingDismissOverlay
                   NOTIFY pendingDismissOverlayChanged)

public:
    // An open photo or video viewer.
    struct MediaKey {
        QString uuid;
        QString itemType;
        bool operator==(const MediaKey&) const = default;
    };

    // An open transcript viewer: the transcribed file and the title it shows.
    struct TranscriptionViewerData {
        QString filePath;
        QString title;
        bool operator==(const TranscriptionViewerData&) const = default;
    };

    // A recording handed to the first run.
    struct FirstRunClip {
        std::optional<QString> url;
        int seconds = 0;
        bool operator==(const FirstRunClip&) const = default;
    };

    explicit AppStateStore(QObject* parent = nullptr);

    // The shown section, starting at the brand's first item.
    SidebarItem selection() const { return selection_; }
    void setSelection(SidebarItem item);

    bool showCommandBar() const { return showCommandBar_; }
    void setShowCommandBar(bool show);

    bool showOnboarding() const { return showOnboarding_; }
    void setShowOnboarding(bool show);

    const std::optional<MediaKey>& mediaViewerKey() const { return mediaViewerKey_; }
    void setMediaViewerKey(std::optional<MediaKey> key);

    const std::optional<TranscriptionViewerData>& transcriptionViewerData() const {
        return transcriptionViewerData_;
    }
    void setTranscriptionViewerData(std::optional<TranscriptionViewerData> data);

    bool requestTimelineSearchFocus() const { return requestTimelineSearchFocus_; }
    void setRequestTimelineSearchFocus(bool request);

    const std::optional<OpenWindowRequest>& pendingOpenWindow() const { return pendingOpenWindow_; }
    void setPendingOpenWindow(std::optional<OpenWindowRequest> request);

    bool pendingOpenSettings() const { return pendingOpenSettings_; }
    void setPendingOpenSettings(bool pending);

    bool pendingDismissOverlay() const { return pendingDismissOverlay_; }
    void setPendingDismissOverlay(bool pending);

    const std::optional<QString>& pendingOnboardingCommand() const {
        return pendingOnboardingCommand_;
    }
    void setPendingOnboardingCommand(std::optional<QString> command);

    const std::optional<FirstRunClip>& pendingFirstRunClip() const { return pendingFirstRunClip_; }
    void setPendingFirstRunClip(std::optional<FirstRunClip> clip);

    const std::optional<QString>& pendingTalloDestination() const {
        return pendingTalloDestination_;
    }
    void setPendingTalloDestination(std::optional<QString> destination);

    // Published by onboarding for automation.
    const std::optional<QString>& onboardingStepTitle() const { return onboardingStepTitle_; }
    void setOnboardingStepTitle(std::optional<QString> title);
    std::optional<int> onboardingStepIndex() const { return onboardingStepIndex_; }
    void setOnboardingStepIndex(std::optional<int> index);
    std::optional<int> onboardingStepCount() const { return onboardingStepCount_; }
    void setOnboardingStepCount(std::optional<int> count);

    // Published by the first run for automation.
    const std::optional<QString>& firstRunPhase() const { return firstRunPhase_; }
    void setFirstRunPhase(std::optional<QString> phase);

    // A query for the command bar to run.
    const std::optional<QString>& pendingCommandBarRun() const { return pendingCommandBarRun_; }
    void setPendingCommandBarRun(std::optional<QString> query);

    // "back" or "forward".
    const std::optional<QString>& pendingPeriodStep() const { return pendingPeriodStep_; }
    void setPendingPeriodStep(std::optional<QString> step);

    const std::optional<QString>& pendingBooksSelection() const { return pendingBooksSelection_; }
    void setPendingBooksSelection(std::optional<QString> books);

    // The period on screen, published for automation.
    const std::optional<QString>& shownPeriod() const { return shownPeriod_; }
    void setShownPeriod(std::optional<QString> period);

signals:
    void selectionChanged();
    void showCommandBarChanged();
    void showOnboardingChanged();
    void mediaViewerKeyChanged();
    void transcriptionViewerDataChanged();
    void requestTimelineSearchFocusChanged();
    void pendingOpenWindowChanged();
    void pendingOpenSettingsChanged();
    void pendingDismissOverlayChanged();
    void pendingOnboardingCommandChanged();
    void pendingFirstRunClipChanged();
    void pendingTalloDestinationChanged();
    void onboardingStepChanged();
    void firstRunPhaseChanged();
    void pendingCommandBarRunChanged();
    void pendingPeriodStepChanged();
    void pendingBooksSelectionChanged();
    void shownPeriodChanged();

private:
    SidebarItem selection_;
    bool showCommandBar_ = false;
    bool showOnboarding_ = false;
    std::optional<MediaKey> mediaViewerKey_;
    std::optional<TranscriptionViewerData> transcriptionViewerData_;
    bool requestTimelineSearchFocus_ = false;
    std::optional<OpenWindowRequest> pendingOpenWindow_;
    bool pendingOpenSettings_ = false;
    bool pendingDismissOverlay_ = false;
    std::optional<QString> pendingOnboardingCommand_;
    std::optional<FirstRunClip> pendingFirstRunClip_;
    std::optional<QString> pendingTalloDestination_;
    std::optional<QString> onboardingStepTitle_;
    std::optional<int> onboardingStepIndex_;
    std::optional<int> onboardingStepCount_;
    std::optional<QString> firstRunPhase_;
    std::optional<QString> pendingCommandBarRun_;
    std::optional<QString> pendingPeriodStep_;
    std::optional<QString> pendingBooksSelection_;
    std::optional<QString> shownPeriod_;
};

} // namespace mnemora
