#pragma once

#include <QString>

namespace mnemora {

// Notifications the desktop shows the user. Posting never fails at the caller: a desktop without
// a notification service simply shows nothing.
class NotificationService {
public:
    virtual ~NotificationService() = default;

    // Shows `title` and `body`. A later notification with the same `identifier` takes the place
    // of an earlier one that is still shown, instead of stacking beside it.
    virtual void post(const QString& identifier, const QString& title, const QString& body) = 0;
};

} // namespace mnemora
