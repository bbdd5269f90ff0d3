#pragma once

#include <QString>
#include <QStringList>

#include <optional>

#include "daemon/DaemonMode.h"
#include "daemon/DaemonStatus.h"
#include "registry/DatabaseService.h"

namespace mnemora::MenuBarStatus {

// How a vault's daemon is doing, as the tray says it.
struct VaultState {
    enum class Kind { working, stalled, idle };
    Kind kind = Kind::idle;
    int items = 0;   // working
    int ageSecs = 0; // stalled
    bool operator==(const VaultState&) const = default;
};

// A heartbeat older than ten minutes with work waiting and no transcription (which legitimately
// stops the heartbeat) means the worker is stuck.
bool isStalled(const DaemonStatus& status);
VaultState vaultState(const DaemonStatus& status);

// A duration as supervision writes it: whole seconds, "601s".
QString age(int seconds);

// The tray's tooltip: the app's name, what the daemon is doing, and the pause and open-question
// suffixes.
QString tooltip(const QString& app, const DaemonStatus& status, bool pausedForCapacity,
                int openQuestions);

// A vault's status line; none when all is well.
std::optional<QString> statusLine(const DaemonStatus& status, const QString& name);

// What is known of how the daemon is held, when it needs saying.
std::optional<QString> modeLine(const DaemonMode& mode);

// Lines for the work still waiting, each only when its count is above 0.
QStringList pendingWorkLines(const DatabaseService::PendingCounts& counts);

enum class DaemonLifecycleAction { start, stop, restart };
inline constexpr DaemonLifecycleAction kDaemonLifecycleActions[] = {
    DaemonLifecycleAction::start, DaemonLifecycleAction::stop, DaemonLifecycleAction::restart};
QString daemonCommandTitle(DaemonLifecycleAction action, const QString& name);
QString revealLogTitle(const QString& name);

// The row of a further open vault.
QString otherVaultRow(const QString& name, bool daemonRunning);

} // namespace mnemora::MenuBarStatus
