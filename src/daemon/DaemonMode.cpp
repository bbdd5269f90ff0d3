#include "daemon/DaemonMode.h"

namespace mnemora {

QString DaemonMode::word() const {
    switch (kind) {
    case Kind::adopted:
        return QStringLiteral("adopted");
    case Kind::spawnedChild:
        return QStringLiteral("spawnedChild");
    case Kind::failed:
        return QStringLiteral("failed");
    case Kind::attachedExternal:
        return QStringLiteral("attachedExternal");
    case Kind::notStarted:
        break;
    }
    return QStringLiteral("notStarted");
}

QString DaemonMode::description() const {
    switch (kind) {
    case Kind::adopted:
    case Kind::spawnedChild:
        return word() + QStringLiteral(" (pid %1)").arg(pid);
    case Kind::failed:
        return word() + QStringLiteral(": ") + reason;
    case Kind::attachedExternal:
    case Kind::notStarted:
        break;
    }
    return word();
}

} // namespace mnemora
