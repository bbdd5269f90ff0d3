#include "ui/MenuBarStatus.h"

#include "daemon/SupervisionRules.h"

namespace mnemora::MenuBarStatus {

bool isStalled(const DaemonStatus& status) {
    return status.connection.is(DaemonStatus::Connection::Kind::connected) &&
           status.heartbeatAgeSecs &&
           *status.heartbeatAgeSecs > SupervisionRules::staleHeartbeatSecs &&
           status.pendingItems >= 1 && !status.transcriptionActive;
}

VaultState vaultState(const DaemonStatus& status) {
    if (isStalled(status)) {
        return {VaultState::Kind::stalled, 0, *status.heartbeatAgeSecs};
    }
    if (status.connection.is(DaemonStatus::Connection::Kind::connected) &&
        status.processingActive) {
        return {VaultState::Kind::working, status.pendingItems, 0};
    }
    return {};
}

QString age(int seconds) {
    return QString::number(seconds) + QLatin1Char('s');
}

QString tooltip(const QString& app, const DaemonStatus& status, bool pausedForCapacity,
                int openQuestions) {
    QString line = app;
    switch (status.connection.kind) {
    case DaemonStatus::Connection::Kind::unknown:
        line += QStringLiteral(" — checking daemon…");
        break;
    case DaemonStatus::Connection::Kind::disconnected:
        line += QStringLiteral(" — daemon offline: ") + status.connection.reason;
        break;
    case DaemonStatus::Connection::Kind::connected:
        if (isStalled(status)) {
            line += QStringLiteral(" — worker stalled (") + age(*status.heartbeatAgeSecs) +
                    QStringLiteral(" ago), restarting…");
        } else if (status.processingActive) {
            line += QStringLiteral(" — processing ") + QString::number(status.pendingItems) +
                    QStringLiteral(" items");
        }
        break;
    }
    if (pausedForCapacity) {
        line += QStringLiteral(" • paused, waiting for AI capacity");
    }
    if (openQuestions > 0) {
        line += QStringLiteral(" • ") + QString::number(openQuestions) +
                (openQuestions == 1 ? QStringLiteral(" open question")
                                    : QStringLiteral(" open questions"));
    }
    return line;
}

std::optional<QString> statusLine(const DaemonStatus& status, const QString& name) {
    const VaultState state = vaultState(status);
    switch (state.kind) {
    case VaultState::Kind::working:
        return state.items < 1 ? QStringLiteral("Working")
                               : QStringLiteral("Working through ") + QString::number(state.items) +
                                     QStringLiteral(" items");
    case VaultState::Kind::stalled:
        return QStringLiteral("Stalled ") + age(state.ageSecs) +
               QStringLiteral(" ago — restarting");
    case VaultState::Kind::idle:
        break;
    }
    switch (status.connection.kind) {
    case DaemonStatus::Connection::Kind::connected:
        return std::nullopt;
    case DaemonStatus::Connection::Kind::unknown:
        return QStringLiteral("Checking…");
    case DaemonStatus::Connection::Kind::disconnected:
        break;
    }
    return name + QStringLiteral(" isn't running");
}

std::optional<QString> modeLine(const DaemonMode& mode) {
    if (mode.is(DaemonMode::Kind::attachedExternal)) {
        return QStringLiteral("Attached to a daemon this app didn't start — managed out of band");
    }
    if (mode.is(DaemonMode::Kind::failed)) {
        return QStringLiteral("Failed: ") + mode.reason;
    }
    return std::nullopt;
}

QStringList pendingWorkLines(const DatabaseService::PendingCounts& counts) {
    QStringList lines;
    const auto add = [&lines](qint64 count, const QString& words) {
        if (count > 0) {
            lines << QString::number(count) + words;
        }
    };
    add(counts.voiceMemosPendingAudio, QStringLiteral(" voice memos pending"));
    add(counts.videosPendingAudio, QStringLiteral(" video soundtracks pending"));
    add(counts.photosPendingVisual, QStringLiteral(" photos awaiting caption"));
    add(counts.audioFailed + counts.visualFailed,
        QStringLiteral(" failed — retry from Processing"));
    return lines;
}

QString daemonCommandTitle(DaemonLifecycleAction action, const QString& name) {
    switch (action) {
    case DaemonLifecycleAction::start:
        return QStringLiteral("Start the daemon for ") + name;
    case DaemonLifecycleAction::stop:
        return QStringLiteral("Stop the daemon for ") + name;
    case DaemonLifecycleAction::restart:
        return QStringLiteral("Restart the daemon for ") + name;
    }
    return {};
}

QString revealLogTitle(const QString& name) {
    return QStringLiteral("Reveal ") + name + QStringLiteral("'s daemon log");
}

QString otherVaultRow(const QString& name, bool daemonRunning) {
    return daemonRunning ? name : name + QStringLiteral(" — not running");
}

} // namespace mnemora::MenuBarStatus
