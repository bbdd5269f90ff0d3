#pragma once

#include <QString>
#include <QtGlobal>

namespace mnemora {

// How this window's daemon is held. `DaemonProcess::Mode` is this type.
struct DaemonMode {
    enum class Kind {
        adopted,         // ours, but not spawned by this process (left over from an earlier run)
        spawnedChild,    // a child of this process
        failed,          // could not be brought up; `reason` is shown to the user
        notStarted,      // initial, and after an explicit stop
        attachedExternal // not from an app bundle (a developer's build): used, never stopped
    };

    Kind kind = Kind::notStarted;
    qint32 pid = 0; // adopted, spawnedChild
    QString reason; // failed

    static DaemonMode adopted(qint32 pid) { return {Kind::adopted, pid, {}}; }
    static DaemonMode spawnedChild(qint32 pid) { return {Kind::spawnedChild, pid, {}}; }
    static DaemonMode failed(const QString& reason) { return {Kind::failed, 0, reason}; }
    static DaemonMode notStarted() { return {}; }
    static DaemonMode attachedExternal() { return {Kind::attachedExternal, 0, {}}; }

    bool is(Kind other) const { return kind == other; }

    // The case's name: "adopted", "spawnedChild", "failed", "notStarted", "attachedExternal".
    QString word() const;
    // The case with its payload, for logs: "spawnedChild (pid 42)", "failed: {reason}".
    QString description() const;

    bool operator==(const DaemonMode&) const = default;
};

} // namespace mnemora
