#pragma once

#include <QString>

#include "app/Brand.h"
#include "daemon/DaemonMode.h"
#include "daemon/DaemonStatus.h"

namespace mnemora::ScreenTexts {

// What a screen says while it has nothing to list: what will appear there and why.
struct EmptyState {
    QString title;
    QString text;
    bool operator==(const EmptyState&) const = default;
};

EmptyState emptyState(SidebarItem item, Brand brand, const QString& app);

// A place search that found nothing.
EmptyState noItemsAtPlace(const QString& place);
// What a place search offers before anything is typed.
EmptyState placeSearchHint();

// The daemon state at the sidebar's foot: a headline and, when there is more to say, a detail.
QString daemonHeadline(const DaemonStatus& status, const QString& name);
QString daemonDetail(const DaemonStatus& status, const DaemonMode& mode);

} // namespace mnemora::ScreenTexts
