#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QHash>
#include <QJsonValue>
#include <QList>
#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>

#include "daemon/DaemonMode.h"
#include "daemon/DaemonStatus.h"

namespace mnemora {

// The part of `GET /status` that supervision reads.
struct DaemonStatusResponse {
    qint32 pid = 0;
    std::optional<QString> version;
    std::optional<QString> binaryPath;
    std::optional<qint64> binaryMtime; // whole seconds since 1970
    std::optional<QString> vaultPath;

    bool operator==(const DaemonStatusResponse&) const = default;
};

// A daemon found running, with the port it was found on.
struct AttachedDaemon {
    int port = 0;
    DaemonStatusResponse response;
};

// How a running daemon's executable compares with the one in our bundle.
enum class BinaryVerdict { current, stale, unknown };

// The rules of daemon supervision, as functions of explicit inputs and `now`, so that every time
// rule can be checked without waiting for it.
namespace SupervisionRules {

using TimePoint = std::chrono::system_clock::time_point;

inline constexpr std::chrono::seconds respawnWindow{120};
inline constexpr int respawnBudget = 5;
inline constexpr std::chrono::seconds crashLoopPause{1200};
inline constexpr int unreachablePassLimit = 12;
inline constexpr int stalePassLimit = 2;
inline constexpr int staleHeartbeatSecs = 600;

// Decodes a `/status` body strictly: `pid` must be an integer; a key that is present must have
// its type (null counts as absent). Anything else does not decode.
std::optional<DaemonStatusResponse> decodeStatus(const QByteArray& body);

// The first of `names` in `folder` that is an executable file for this user.
std::optional<QString> findExecutable(const QString& folder, const QStringList& names);

// Where the daemon's executable is, first match winning: the bundle folder; then, in a
// development checkout (a `.git` entry at most 8 levels above the bundle's parent), its
// `daemon/target/release` and `daemon/target/debug` builds; then the folders of `pathVariable`.
std::optional<QString> resolveBinary(const QString& bundleFolder, const QStringList& names,
                                     const QString& pathVariable);

// A path made absolute and free of "." and ".." and doubled separators, for comparison.
QString standardisedPath(const QString& path);

// The daemon a window may use must serve the window's vault; without either side to compare the
// check passes.
bool servesExpectedVault(const DaemonStatusResponse& response,
                         const std::optional<QString>& expectedVault);

// Compares a running daemon with the bundle's daemon (`inAppBinary`, modified at
// `inAppModified`). The daemon reports whole seconds, so a margin of 1 s keeps the identical file
// from looking old.
BinaryVerdict compareBinary(const std::optional<QString>& inAppBinary,
                            const std::optional<QDateTime>& inAppModified,
                            const DaemonStatusResponse& response);

// Whether a daemon's executable came from an application bundle: its folder holds an Info.json.
bool comesFromBundle(const std::optional<QString>& binaryPath);

// What the system tells of a running process; absent where it cannot be read.
struct ProcessFacts {
    std::optional<QString> executable;
    std::optional<QHash<QString, QString>> environment;
};

// The variables that decide which vault a daemon serves and where it publishes its port.
inline constexpr const char* vaultIdentityVariables[] = {"MNEMORA_BUNDLE_ID", "MN_CONFIG_DIR",
                                                         "HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"};

// Whether a process found by its command line is a daemon of this supervisor's vault, which the
// orphan sweep may stop: it runs one of `names` from an application bundle and was started with
// the same vault identity as the daemons we spawn (`spawnEnvironment`). Another vault's or
// another application's daemon, an externally managed one, and anything that cannot be read are
// left alone.
bool isOwnVaultDaemon(const ProcessFacts& process, const QStringList& names,
                      const QHash<QString, QString>& spawnEnvironment);

// Whether the process with the pid a daemon reported still runs that daemon: its executable is
// the reported `binary_path`, or, with none reported, one of `names`.
bool runsReportingDaemon(const std::optional<QString>& executable,
                         const DaemonStatusResponse& response, const QStringList& names);

// The last 30 non-empty lines of a log, joined with line feeds; "(log empty)" when the bytes are
// no UTF-8 text or no line is left.
QString logTail(const QByteArray& logBytes);

// What the watchdog sees of a supervisor in one pass.
struct WatchdogFacts {
    DaemonMode mode;
    std::optional<TimePoint> crashLoopPausedAt;
    bool respawnInFlight = false;
    bool intentionalStop = false;
    std::optional<bool> childRunning; // absent when no child is held
    bool pidAlive = false;            // `kill(pid, 0)` for an adopted daemon
};

// The two counters that live in the watchdog loop.
struct WatchdogCounters {
    int unreachable = 0;
    int stale = 0;

    bool operator==(const WatchdogCounters&) const = default;
};

struct WatchdogVerdict {
    std::optional<QString> reason; // set: the daemon must be respawned for this reason
    bool endsCrashLoopPause = false;

    bool operator==(const WatchdogVerdict&) const = default;
};

// One watchdog pass over the polled status. Updates the counters.
WatchdogVerdict evaluate(const WatchdogFacts& facts, const DaemonStatus& status,
                         WatchdogCounters& counters, TimePoint now);

// What one automatic respawn may do with the recent respawns.
struct RespawnPlan {
    bool budgetSpent = false;
    int attempt = 0;          // 1-based, when not spent
    int backoffSeconds = 0;   // 1, 2, 4, 8, 8
    QList<TimePoint> history; // the respawn dates to keep, with this one when not spent

    bool operator==(const RespawnPlan&) const = default;
};

RespawnPlan planRespawn(const QList<TimePoint>& history, TimePoint now);

} // namespace SupervisionRules

} // namespace mnemora
