#include "daemon/DaemonProcess.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>

#include <QCoroTimer>

#include <unistd.h>

#include "app/Brand.h"
#include "app/ConfigService.h"
#include "app/Log.h"
#include "app/PortFile.h"
#include "app/VaultPaths.h"
#include "daemon/DaemonHttp.h"
#include "daemon/DaemonService.h"
#include "platform/BundleInfo.h"
#include "platform/Processes.h"

namespace mnemora {

namespace {

const QString kSource = QStringLiteral("DaemonProcess");

void log(const QString& message) {
    Log::line(kSource, message);
}

// The tail is read from the end of the log, which is appended to forever.
constexpr qint64 kLogTailWindow = 1 << 20;

} // namespace

DaemonProcess::DaemonProcess(QObject* parent)
    : QObject(parent)
    , clock_([] { return std::chrono::system_clock::now(); }) {}

DaemonProcess::~DaemonProcess() {
    portWaiterTask_.cancel();
    watchdogTask_.cancel();
    if (child_ != nullptr) {
        disconnect(child_, nullptr, this, nullptr);
        if (child_->state() != QProcess::NotRunning) {
            child_->kill();
            child_->waitForFinished(-1);
        }
        delete child_;
        child_ = nullptr;
    }
    closeLog();
}

// ---- State ----

void DaemonProcess::setMode(const Mode& mode) {
    if (mode_ != mode) {
        mode_ = mode;
        emit modeChanged();
    }
}

void DaemonProcess::setPort(std::optional<int> port) {
    if (port_ != port) {
        port_ = port;
        emit portChanged();
    }
}

void DaemonProcess::setBinaryPath(std::optional<QString> path) {
    if (binaryPath_ != path) {
        binaryPath_ = std::move(path);
        emit binaryPathChanged();
    }
}

void DaemonProcess::setSlowToStart(bool slow) {
    if (slowToStart_ != slow) {
        slowToStart_ = slow;
        emit slowToStartChanged();
    }
}

DaemonProcess::TimePoint DaemonProcess::now() const {
    return clock_();
}

bool DaemonProcess::childRunning() const {
    return child_ != nullptr && child_->state() != QProcess::NotRunning;
}

bool DaemonProcess::isRunning() const {
    switch (mode_.kind) {
    case Mode::Kind::spawnedChild:
        return child_ != nullptr ? childRunning() : platform::Processes::isAlive(mode_.pid);
    case Mode::Kind::adopted:
        return platform::Processes::isAlive(mode_.pid);
    case Mode::Kind::attachedExternal:
        // Not ours to probe: it counts as up while we know its port.
        return port_.has_value();
    case Mode::Kind::failed:
    case Mode::Kind::notStarted:
        break;
    }
    return false;
}

bool DaemonProcess::hasProcess() const {
    return mode_.is(Mode::Kind::adopted) || mode_.is(Mode::Kind::spawnedChild);
}

// ---- Places ----

QStringList DaemonProcess::binaryNames() const {
    return binaryNamesOverride_ ? *binaryNamesOverride_ : BrandProfile::daemonBinaryNames(brand());
}

QString DaemonProcess::cacheFolder() const {
    return VaultPaths::daemonCacheFolder(cacheDirOverride_, config_.data());
}

QString DaemonProcess::portFilePath() const {
    return cacheFolder() + QStringLiteral("/daemon.port");
}

QString DaemonProcess::logFilePath() const {
    return VaultPaths::daemonLogFile(logNameSuffix_);
}

std::optional<QString> DaemonProcess::expectedVault() const {
    if (!configDirOverride_.isEmpty()) {
        return QFileInfo(SupervisionRules::standardisedPath(configDirOverride_)).absolutePath();
    }
    if (config_) {
        return config_->vaultRoot();
    }
    return std::nullopt;
}

std::optional<QString> DaemonProcess::resolveBinary() const {
    return SupervisionRules::resolveBinary(platform::BundleInfo::main().folder, binaryNames(),
                                           qEnvironmentVariable("PATH"));
}

std::optional<QString> DaemonProcess::inAppBinary() const {
    return SupervisionRules::findExecutable(platform::BundleInfo::main().folder, binaryNames());
}

void DaemonProcess::removePortFile() const {
    QFile::remove(portFilePath());
}

// ---- Start ----

QCoro::Task<> DaemonProcess::start() {
    QPointer<DaemonProcess> self(this);
    setBinaryPath(resolveBinary());

    const std::optional<AttachedDaemon> existing = co_await probeExisting();
    if (!self) {
        co_return;
    }
    if (!existing) {
        co_await spawnAndWait();
        co_return;
    }

    if (compareBinary(existing->response) != BinaryVerdict::stale) {
        attach(*existing);
        co_return;
    }
    const bool gone = co_await terminateStale(existing->response.pid);
    if (!self) {
        co_return;
    }
    if (!gone) {
        // Better an old daemon than none.
        attach(*existing);
        co_return;
    }
    co_await QCoro::sleepFor(timings_.respawnSettle);
    if (!self) {
        co_return;
    }
    co_await spawnAndWait();
}

QCoro::Task<std::optional<AttachedDaemon>> DaemonProcess::probeExisting() {
    QPointer<DaemonProcess> self(this);
    const std::optional<int> port = PortFile::read(portFilePath());
    const std::optional<QUrl> base = DaemonHttp::baseUrl(port);
    if (!base) {
        co_return std::nullopt;
    }
    const DaemonReply reply =
        co_await DaemonHttp::send("GET", DaemonHttp::endpoint(*base, QStringLiteral("status")), {},
                                  {}, timings_.probeTimeout);
    if (!self || !reply.ok()) {
        co_return std::nullopt;
    }
    const std::optional<DaemonStatusResponse> response = SupervisionRules::decodeStatus(reply.body);
    if (!response) {
        co_return std::nullopt;
    }
    const std::optional<QString> expected = expectedVault();
    if (!SupervisionRules::servesExpectedVault(*response, expected)) {
        log(QStringLiteral("port %1 serves vault '%2' but this window expects '%3' — ignoring and "
                           "spawning our own")
                .arg(*port)
                .arg(*response->vaultPath, *expected));
        co_return std::nullopt;
    }
    co_return AttachedDaemon{*port, *response};
}

BinaryVerdict DaemonProcess::compareBinary(const DaemonStatusResponse& response) const {
    const std::optional<QString> inApp = inAppBinary();
    std::optional<QDateTime> modified;
    if (inApp) {
        const QFileInfo info(*inApp);
        if (info.exists()) {
            modified = info.lastModified();
        }
    }
    return SupervisionRules::compareBinary(inApp, modified, response);
}

void DaemonProcess::attach(const AttachedDaemon& daemon) {
    // Nothing of ours is being stopped any more: let the watchdog watch what we attached to.
    intentionalStop_ = false;
    setPort(daemon.port);
    setMode(SupervisionRules::comesFromBundle(daemon.response.binaryPath)
                ? Mode::adopted(daemon.response.pid)
                : Mode::attachedExternal());
}

QCoro::Task<bool> DaemonProcess::terminateStale(qint32 pid) {
    QPointer<DaemonProcess> self(this);
    if (pid < 2 || !platform::Processes::terminate(pid)) {
        co_return false;
    }
    for (int attempt = 0; attempt < timings_.staleProbeAttempts; ++attempt) {
        co_await QCoro::sleepFor(timings_.staleProbeInterval);
        if (!self) {
            co_return false;
        }
        const bool present = (co_await probeExisting()).has_value();
        if (!self) {
            co_return false;
        }
        if (!present) {
            co_return true;
        }
    }
    platform::Processes::forceKill(pid);
    co_await QCoro::sleepFor(timings_.killSettle);
    if (!self) {
        co_return false;
    }
    co_return !(co_await probeExisting()).has_value();
}

// ---- Spawn ----

QCoro::Task<> DaemonProcess::spawnAndWait() {
    QPointer<DaemonProcess> self(this);
    std::optional<QString> binary = binaryPath_ ? binaryPath_ : resolveBinary();
    if (!binary) {
        setMode(Mode::failed(
            QStringLiteral("Daemon binary not found in bundle or fallback locations")));
        co_return;
    }
    setBinaryPath(binary);

    // A port file left behind by a daemon that is gone must not pass for the new one's.
    removePortFile();
    const std::variant<qint32, QString> launched = spawn(*binary);
    if (const auto* error = std::get_if<QString>(&launched)) {
        setMode(Mode::failed(QStringLiteral("Could not spawn daemon: ") + *error));
        co_return;
    }
    const qint32 pid = std::get<qint32>(launched);
    setMode(Mode::spawnedChild(pid));

    const bool settled = co_await waitForPort(timings_.portWait, false, CancelToken::never());
    if (!self || settled) {
        co_return;
    }
    setSlowToStart(true);
    log(QStringLiteral(
            "daemon has not written its port file after 6s — still alive (pid %1), still "
            "waiting")
            .arg(pid));
    waitForPortInBackground(self, portWaiterTask_.renew());
}

QCoro::Task<> DaemonProcess::waitForPortInBackground(QPointer<DaemonProcess> self,
                                                     CancelToken token) {
    if (self) {
        co_await self->waitForPort(std::chrono::milliseconds::zero(), true, token);
    }
}

std::variant<qint32, QString> DaemonProcess::spawn(const QString& binary) {
    const QString logPath = logFilePath();
    const QString logFolder = QFileInfo(logPath).absolutePath();
    if (!QDir().mkpath(logFolder)) {
        return QStringLiteral("could not create the log folder %1").arg(logFolder);
    }
    auto* logFile = new QFile(logPath, this);
    // Appended to, never truncated: earlier runs' lines are the history of what went wrong.
    if (!logFile->open(QIODevice::WriteOnly | QIODevice::Append)) {
        const QString error = logFile->errorString();
        delete logFile;
        return error;
    }

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("MNEMORA_BUNDLE_ID"), bundleIdentifier());
    environment.insert(QStringLiteral("MNEMORA_APP_NAME"), appDisplayName());
    if (!configDirOverride_.isEmpty()) {
        environment.insert(QStringLiteral("MN_CONFIG_DIR"), configDirOverride_);
    }

    auto* process = new QProcess(this);
    process->setProgram(binary);
    process->setArguments({QStringLiteral("daemon")});
    process->setProcessEnvironment(environment);
    process->setStandardInputFile(QProcess::nullDevice());
    process->setProcessChannelMode(QProcess::ForwardedChannels);
    const int logFd = logFile->handle();
    // Runs in the child between fork and exec: both output streams go to the log.
    process->setChildProcessModifier([logFd] {
        ::dup2(logFd, STDOUT_FILENO);
        ::dup2(logFd, STDERR_FILENO);
    });
    connect(process, &QProcess::finished, this,
            [this, process](int exitCode, QProcess::ExitStatus) {
                onChildFinished(process, exitCode);
            });
    process->start();
    if (!process->waitForStarted(-1)) {
        const QString error = process->errorString();
        disconnect(process, nullptr, this, nullptr);
        delete process;
        delete logFile;
        return error;
    }

    clearChild();
    closeLog();
    child_ = process;
    logFile_ = logFile;
    childPortPending_ = true;
    intentionalStop_ = false;
    return static_cast<qint32>(process->processId());
}

QCoro::Task<bool> DaemonProcess::waitForPort(std::chrono::milliseconds timeout, bool openEnded,
                                             CancelToken token) {
    QPointer<DaemonProcess> self(this);
    const auto began = std::chrono::steady_clock::now();
    while (true) {
        if (token.isCancelled()) {
            co_return false;
        }
        const std::optional<int> port = PortFile::read(portFilePath());
        const bool running = childRunning();
        if (port) {
            setPort(port);
            setSlowToStart(false);
            childPortPending_ = false;
            co_return true;
        }
        if (!running) {
            setSlowToStart(false);
            childPortPending_ = false;
            setMode(Mode::failed(
                QStringLiteral("Daemon exited before writing port file. Last log lines:\n") +
                readLogTail()));
            co_return true;
        }
        if (!openEnded && std::chrono::steady_clock::now() - began > timeout) {
            co_return false;
        }
        co_await QCoro::sleepFor(timings_.portPoll);
        if (!self) {
            co_return false;
        }
    }
}

QString DaemonProcess::readLogTail() const {
    QFile file(logFilePath());
    if (!file.open(QIODevice::ReadOnly)) {
        return SupervisionRules::logTail({});
    }
    const qint64 size = file.size();
    QByteArray bytes;
    if (size > kLogTailWindow) {
        file.seek(size - kLogTailWindow);
        bytes = file.read(kLogTailWindow);
        // Start at a line boundary so no character is cut in half.
        bytes.remove(0, bytes.indexOf('\n') + 1);
    } else {
        bytes = file.readAll();
    }
    return SupervisionRules::logTail(bytes);
}

// ---- Stop ----

void DaemonProcess::clearChild() {
    if (child_ != nullptr) {
        disconnect(child_, nullptr, this, nullptr);
        child_->deleteLater();
        child_ = nullptr;
    }
    childPortPending_ = false;
}

void DaemonProcess::closeLog() {
    if (logFile_ != nullptr) {
        logFile_->close();
        delete logFile_;
        logFile_ = nullptr;
    }
}

QCoro::Task<> DaemonProcess::stopChild() {
    QPointer<DaemonProcess> self(this);
    if (childRunning()) {
        QPointer<QProcess> process(child_);
        const qint32 pid = static_cast<qint32>(process->processId());
        process->terminate();
        for (int attempt = 0; attempt < timings_.stopPollAttempts; ++attempt) {
            co_await QCoro::sleepFor(timings_.stopPoll);
            if (!self) {
                co_return;
            }
            if (!process || process->state() == QProcess::NotRunning) {
                break;
            }
        }
        if (process && process->state() != QProcess::NotRunning) {
            log(QStringLiteral(
                    "daemon did not exit on SIGTERM within 3s — sending SIGKILL (pid %1)")
                    .arg(pid));
            platform::Processes::forceKill(pid);
            co_await QCoro::sleepFor(timings_.killSettle);
            if (!self) {
                co_return;
            }
        }
    }
    clearChild();
    closeLog();
}

QCoro::Task<> DaemonProcess::stopOnPurpose() {
    // The exit we cause is not a crash, and no late port should be waited for any more.
    intentionalStop_ = true;
    portWaiterTask_.cancel();
    setSlowToStart(false);
    co_await stopChild();
}

QCoro::Task<> DaemonProcess::stop() {
    QPointer<DaemonProcess> self(this);
    co_await stopOnPurpose();
    if (!self) {
        co_return;
    }
    removePortFile();
    setPort(std::nullopt);
    setMode(Mode::notStarted());
}

QCoro::Task<> DaemonProcess::restart() {
    if (mode_.is(Mode::Kind::attachedExternal)) {
        setMode(Mode::failed(QStringLiteral(
            "Cannot restart an externally-managed daemon (LaunchAgent / dev cargo run). Stop it "
            "yourself and relaunch the app.")));
        co_return;
    }
    co_await replaceDaemon();
}

void DaemonProcess::stopBlocking() {
    if (!childRunning()) {
        return;
    }
    // The exit we cause here is not a crash to answer with a respawn.
    intentionalStop_ = true;
    child_->terminate();
    child_->waitForFinished(-1);
    clearChild();
    closeLog();
}

QCoro::Task<> DaemonProcess::replaceDaemon() {
    QPointer<DaemonProcess> self(this);
    co_await stopOnPurpose();
    if (!self) {
        co_return;
    }
    co_await sweepOrphans();
    if (!self) {
        co_return;
    }
    removePortFile();
    co_await QCoro::sleepFor(timings_.respawnSettle);
    if (!self) {
        co_return;
    }
    co_await start();
}

QCoro::Task<> DaemonProcess::sweepOrphans() {
    QPointer<DaemonProcess> self(this);
    // Deliberately broad: every daemon of our names on the machine goes, other vaults' included,
    // so that no orphan holds on to the files the new daemon needs.
    for (const QString& name : binaryNames()) {
        const std::optional<QList<qint32>> pids =
            co_await platform::Processes::matchingCommandLine(name + QStringLiteral(" daemon"));
        if (!self) {
            co_return;
        }
        if (!pids) {
            continue;
        }
        for (const qint32 pid : *pids) {
            if (pid > 1) {
                platform::Processes::forceKill(pid);
            }
        }
    }
}

// ---- Watching ----

void DaemonProcess::onChildFinished(QProcess* process, int status) {
    if (process != child_ || intentionalStop_ || !mode_.is(Mode::Kind::spawnedChild)) {
        return;
    }
    // A child that dies before publishing its port never came up: the port wait reports it with
    // the log's last lines rather than retrying blind.
    if (childPortPending_) {
        return;
    }
    clearChild();
    respawn(QStringLiteral("daemon exited unexpectedly (status %1)").arg(status));
}

void DaemonProcess::startWatchdog(DaemonService* service) {
    watchedDaemonService_ = service;
    watchdogCounters_ = {};
    QPointer<DaemonProcess> self(this);
    CancellableLoop::start(watchdogTask_, timings_.watchdogInterval,
                           CancellableLoop::FirstPass::afterInterval,
                           [self] { return watchdogPass(self); });
}

QCoro::Task<> DaemonProcess::watchdogPass(QPointer<DaemonProcess> self) {
    if (!self || !self->watchedDaemonService_) {
        co_return;
    }
    const std::optional<QString> reason = self->evaluate(self->watchedDaemonService_->status());
    if (reason) {
        self->watchdogCounters_ = {};
        co_await self->respawn(*reason);
    }
}

std::optional<QString> DaemonProcess::evaluate(const DaemonStatus& status) {
    SupervisionRules::WatchdogFacts facts;
    facts.mode = mode_;
    facts.crashLoopPausedAt = crashLoopPausedAt_;
    facts.respawnInFlight = respawnInFlight_;
    facts.intentionalStop = intentionalStop_;
    facts.slowToStart = slowToStart_;
    if (child_ != nullptr) {
        facts.childRunning = childRunning();
    }
    facts.pidAlive = mode_.is(Mode::Kind::adopted) && platform::Processes::isAlive(mode_.pid);

    const SupervisionRules::WatchdogVerdict verdict =
        SupervisionRules::evaluate(facts, status, watchdogCounters_, now());
    if (verdict.endsCrashLoopPause) {
        crashLoopPausedAt_.reset();
        respawnTimestamps_.clear();
    }
    return verdict.reason;
}

QCoro::Task<> DaemonProcess::respawn(QString reason) {
    QPointer<DaemonProcess> self(this);
    if (respawnInFlight_) {
        co_return;
    }
    respawnInFlight_ = true;

    const TimePoint at = now();
    const SupervisionRules::RespawnPlan plan =
        SupervisionRules::planRespawn(respawnTimestamps_, at);
    respawnTimestamps_ = plan.history;
    if (plan.budgetSpent) {
        log(QStringLiteral(
                "auto-restart paused: %1 — crash-looping (5 in 120s); will try once more "
                "in 20 min")
                .arg(reason));
        crashLoopPausedAt_ = at;
        setMode(Mode::failed(QStringLiteral(
            "Daemon keeps crashing — auto-restart paused for 20 minutes. Restart to try now.")));
        respawnInFlight_ = false;
        co_return;
    }
    crashLoopPausedAt_.reset();
    log(QStringLiteral("auto-respawn (attempt %1, backoff %2s): %3")
            .arg(plan.attempt)
            .arg(plan.backoffSeconds)
            .arg(reason));
    co_await QCoro::sleepFor(timings_.backoffUnit * plan.backoffSeconds);
    if (!self) {
        co_return;
    }
    co_await replaceDaemon();
    if (!self) {
        co_return;
    }
    respawnInFlight_ = false;
}

} // namespace mnemora
