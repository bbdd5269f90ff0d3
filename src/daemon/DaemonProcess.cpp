#include "daemon/DaemonProcess.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHostAddress>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTcpSocket>

#include <QCoroAbstractSocket>
#include <QCoroTimer>

#include <unistd.h>

#include "app/Brand.h"
#include "app/ConfigService.h"
#include "app/Log.h"
#include "app/PortFile.h"
#include "app/VaultPaths.h"
#include "daemon/DaemonEndpoints.h"
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

// After SIGKILL a process only has to be reaped.
constexpr int kReapLimitMs = 1'000;

// Whether something listens on the loopback port, whatever it answers.
QCoro::Task<bool> portAcceptsConnections(int port, std::chrono::milliseconds timeout) {
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), static_cast<quint16>(port));
    auto awaitable = qCoro(socket);
    QCoro::Task<bool> connecting = awaitable.waitForConnected(timeout);
    const bool connected = co_await connecting;
    co_return connected;
}

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
        return child_ != nullptr ? childRunning() : Processes::isAlive(mode_.pid);
    case Mode::Kind::adopted:
        return Processes::isAlive(mode_.pid);
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
    return PortFile::pathIn(cacheFolder());
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
    return SupervisionRules::resolveBinary(BundleInfo::main().folder, binaryNames(),
                                           qEnvironmentVariable("PATH"));
}

std::optional<QString> DaemonProcess::inAppBinary() const {
    return SupervisionRules::findExecutable(BundleInfo::main().folder, binaryNames());
}

void DaemonProcess::removePortFile() const {
    QFile::remove(portFilePath());
}

// ---- Start ----

QCoro::Task<> DaemonProcess::start() {
    QPointer<DaemonProcess> self(this);
    setBinaryPath(resolveBinary());

    QCoro::Task<std::optional<AttachedDaemon>> finding = findExisting();
    const std::optional<AttachedDaemon> existing = co_await finding;
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
    QCoro::Task<bool> terminating = terminateStale(existing->response);
    const bool gone = co_await terminating;
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

QCoro::Task<std::optional<AttachedDaemon>> DaemonProcess::findExisting() {
    QPointer<DaemonProcess> self(this);
    const auto began = std::chrono::steady_clock::now();
    QCoro::Task<Probe> probing = probeExisting(timings_.probeTimeout);
    Probe probe = co_await probing;
    // A daemon too busy to answer /status quickly is still the vault's daemon: spawning another
    // beside it would give the vault two, so it has until the start time-out to answer.
    while (self && probe.busy) {
        const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - began);
        if (waited >= timings_.portWait) {
            log(QStringLiteral("port %1 accepts connections but /status has not answered in %2 s "
                               "— spawning our own")
                    .arg(probe.port)
                    .arg(timings_.portWait.count() / 1000.0));
            co_return std::nullopt;
        }
        co_await QCoro::sleepFor(timings_.portPoll);
        if (!self) {
            co_return std::nullopt;
        }
        QCoro::Task<Probe> again = probeExisting(timings_.portWait - waited);
        probe = co_await again;
    }
    co_return self ? probe.daemon : std::nullopt;
}

QCoro::Task<DaemonProcess::Probe> DaemonProcess::probeExisting(std::chrono::milliseconds timeout) {
    QPointer<DaemonProcess> self(this);
    const std::optional<int> port = PortFile::read(portFilePath());
    const std::optional<QUrl> base = DaemonHttp::baseUrl(port);
    if (!base) {
        co_return Probe{};
    }
    QCoro::Task<DaemonReply> asking =
        DaemonEndpoints::request(base, "GET", QStringLiteral("status"), {}, {}, timeout);
    const DaemonReply reply = co_await asking;
    if (!self) {
        co_return Probe{};
    }
    if (reply.transportError) {
        QCoro::Task<bool> connecting = portAcceptsConnections(*port, timings_.probeTimeout);
        const bool accepts = co_await connecting;
        co_return Probe{std::nullopt, accepts, *port};
    }
    if (!reply.ok()) {
        co_return Probe{};
    }
    const std::optional<DaemonStatusResponse> response = SupervisionRules::decodeStatus(reply.body);
    if (!response) {
        co_return Probe{};
    }
    const std::optional<QString> expected = expectedVault();
    if (!SupervisionRules::servesExpectedVault(*response, expected)) {
        log(QStringLiteral("port %1 serves vault '%2' but this window expects '%3' — ignoring and "
                           "spawning our own")
                .arg(*port)
                .arg(*response->vaultPath, *expected));
        co_return Probe{};
    }
    co_return Probe{AttachedDaemon{*port, *response}, false, *port};
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

QCoro::Task<bool> DaemonProcess::terminateStale(DaemonStatusResponse response) {
    QPointer<DaemonProcess> self(this);
    const qint32 pid = response.pid;
    // The pid is the daemon's own word, and by the time of a signal it may name another program.
    const auto stillThatDaemon = [this, &response] {
        return SupervisionRules::runsReportingDaemon(Processes::executableOf(response.pid),
                                                     response, binaryNames());
    };
    if (pid < 2 || !stillThatDaemon() || !Processes::terminate(pid)) {
        co_return false;
    }
    for (int attempt = 0; attempt < timings_.staleProbeAttempts; ++attempt) {
        co_await QCoro::sleepFor(timings_.staleProbeInterval);
        if (!self) {
            co_return false;
        }
        QCoro::Task<Probe> probing = probeExisting(timings_.probeTimeout);
        const bool present = (co_await probing).present();
        if (!self) {
            co_return false;
        }
        if (!present) {
            co_return true;
        }
    }
    if (stillThatDaemon()) {
        Processes::forceKill(pid);
    }
    co_await QCoro::sleepFor(timings_.killSettle);
    if (!self) {
        co_return false;
    }
    QCoro::Task<Probe> probing = probeExisting(timings_.probeTimeout);
    co_return !(co_await probing).present();
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

QProcessEnvironment DaemonProcess::spawnEnvironment() const {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("MNEMORA_BUNDLE_ID"), bundleIdentifier());
    environment.insert(QStringLiteral("MNEMORA_APP_NAME"), appDisplayName());
    if (!configDirOverride_.isEmpty()) {
        environment.insert(QStringLiteral("MN_CONFIG_DIR"), configDirOverride_);
    }
    return environment;
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

    auto* process = new QProcess(this);
    process->setProgram(binary);
    process->setArguments({QStringLiteral("daemon")});
    process->setProcessEnvironment(spawnEnvironment());
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
    const QPointer<QProcess> waitedFor(child_);
    const auto began = std::chrono::steady_clock::now();
    while (true) {
        if (token.isCancelled()) {
            co_return false;
        }
        // The end of the child waited for is answered where it is noticed, when it finishes.
        if (!waitedFor || child_ != waitedFor || !childRunning()) {
            co_return true;
        }
        if (const std::optional<int> port = PortFile::read(portFilePath())) {
            setPort(port);
            setSlowToStart(false);
            childPortPending_ = false;
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
            Processes::forceKill(pid);
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
    QPointer<DaemonProcess> self(this);
    bool external = mode_.is(Mode::Kind::attachedExternal);
    if (mode_.is(Mode::Kind::failed)) {
        // A daemon we did not start is never stopped by us, however often the user asks: one
        // still serving the vault after an earlier refusal is refused again.
        QCoro::Task<std::optional<AttachedDaemon>> finding = findExisting();
        const std::optional<AttachedDaemon> existing = co_await finding;
        if (!self) {
            co_return;
        }
        external = existing && !SupervisionRules::comesFromBundle(existing->response.binaryPath);
    }
    if (external) {
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
    // Quit must end even when the daemon ignores SIGTERM, so the wait is bounded and our own child
    // is killed after it.
    if (!child_->waitForFinished(static_cast<int>(timings_.blockingStopLimit.count()))) {
        log(QStringLiteral("daemon did not stop within 10 s — killed"));
        child_->kill();
        child_->waitForFinished(kReapLimitMs);
    }
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
    const QStringList names = binaryNames();
    const QProcessEnvironment environment = spawnEnvironment();
    QHash<QString, QString> ours;
    for (const char* variable : SupervisionRules::vaultIdentityVariables) {
        const QString name = QLatin1String(variable);
        if (environment.contains(name)) {
            ours.insert(name, environment.value(name));
        }
    }
    for (const QString& name : names) {
        QCoro::Task<std::optional<QList<qint32>>> finding =
            Processes::matchingCommandLine(name + QStringLiteral(" daemon"));
        const std::optional<QList<qint32>> pids = co_await finding;
        if (!self) {
            co_return;
        }
        for (const qint32 pid : pids.value_or(QList<qint32>())) {
            if (pid < 2) {
                continue;
            }
            // Only a daemon proven to be this vault's goes: stopping another vault's would leave
            // its supervisor respawning it, and the two would drive each other into a crash loop.
            const SupervisionRules::ProcessFacts facts{Processes::executableOf(pid),
                                                       Processes::environmentOf(pid)};
            if (!SupervisionRules::isOwnVaultDaemon(facts, names, ours)) {
                log(QStringLiteral("orphan sweep leaves pid %1 alone: not proven to be this "
                                   "vault's daemon")
                        .arg(pid));
                continue;
            }
            Processes::forceKill(pid);
        }
    }
}

// ---- Watching ----

void DaemonProcess::onChildFinished(QProcess* process, int status) {
    if (process != child_ || intentionalStop_ || !mode_.is(Mode::Kind::spawnedChild)) {
        return;
    }
    const bool beforePort = childPortPending_;
    clearChild();
    if (!beforePort) {
        respawn(QStringLiteral("daemon exited unexpectedly (status %1)").arg(status));
        return;
    }
    // A daemon that failed once at start-up must come back by itself, so a death before the port
    // is a crash under the same respawn budget; until the retry its last words are the failure.
    setSlowToStart(false);
    setMode(
        Mode::failed(QStringLiteral("Daemon exited before writing port file. Last log lines:\n") +
                     readLogTail()));
    respawn(QStringLiteral("daemon exited before writing its port file (status %1)").arg(status));
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
    if (child_ != nullptr) {
        facts.childRunning = childRunning();
    }
    facts.pidAlive = mode_.is(Mode::Kind::adopted) && Processes::isAlive(mode_.pid);

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
