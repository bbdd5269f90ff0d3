#pragma once

#include <QObject>

#include <optional>

#include "app/Brand.h"
#include "app/OpenWindowRequest.h"

namespace mnemora {

// A window's interface state: the switchboard between code that is no screen and the screens.
// Such code sets a field here; the mounted root view consumes it. Nothing is persisted.
class AppStateStore : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool showOnboarding READ showOnboarding WRITE setShowOnboarding NOTIFY
                   showOnboardingChanged)

public:
    explicit AppStateStore(QObject* parent = nullptr);

    SidebarItem selection() const { return selection_; }
    void setSelection(SidebarItem item);

    bool showOnboarding() const { return showOnboarding_; }
    void setShowOnboarding(bool show);

    const std::optional<OpenWindowRequest>& pendingOpenWindow() const { return pendingOpenWindow_; }
    void setPendingOpenWindow(std::optional<OpenWindowRequest> request);

signals:
    void selectionChanged();
    void showOnboardingChanged();
    void pendingOpenWindowChanged();

private:
    SidebarItem selection_;
    bool showOnboarding_ = false;
    std::optional<OpenWindowRequest> pendingOpenWindow_;
};

} // namespace mnemora
