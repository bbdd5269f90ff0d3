#include "introspection/StateRecord.h"

#include <QJsonArray>

#include "app/AppStateStore.h"
#include "app/Brand.h"
#include "daemon/DaemonProcess.h"
#include "daemon/DaemonService.h"
#include "registry/DatabaseService.h"
#include "sync/ConflictsFile.h"

namespace mnemora::StateRecord {

namespace {

QJsonValue orNull(const std::optional<QString>& value) {
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}

QJsonValue orNull(std::optional<int> value) {
    return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
}

QJsonArray openQuestions(const DatabaseService& database) {
    QJsonArray questions;
    for (const Question& question : database.openQuestions()) {
        questions << QJsonObject{{QStringLiteral("slug"), question.slug},
                                 {QStringLiteral("text"), question.text},
                                 {QStringLiteral("status"), Question::statusWord(question.status)},
                                 {QStringLiteral("file_path"), question.filePath}};
    }
    return questions;
}

QJsonObject daemon(const DaemonService& service) {
    const DaemonStatus& status = service.status();
    QString connection = QStringLiteral("unknown");
    if (status.connection.is(DaemonStatus::Connection::Kind::connected)) {
        connection = QStringLiteral("connected");
    } else if (status.connection.is(DaemonStatus::Connection::Kind::disconnected)) {
        connection = QStringLiteral("disconnected");
    }
    return {{QStringLiteral("connection"), connection},
            {QStringLiteral("processing_active"), status.processingActive},
            {QStringLiteral("pending_items"), status.pendingItems}};
}

QJsonValue daemonProcess(const DaemonProcess& process) {
    QString word;
    switch (process.mode().kind) {
    case DaemonMode::Kind::notStarted:
        word = QStringLiteral("not_started");
        break;
    case DaemonMode::Kind::spawnedChild:
        word = QStringLiteral("spawned");
        break;
    case DaemonMode::Kind::adopted:
    case DaemonMode::Kind::attachedExternal:
        word = QStringLiteral("attached");
        break;
    case DaemonMode::Kind::failed:
        word = QStringLiteral("failed");
        break;
    }
    QJsonObject record{{QStringLiteral("state"), word}};
    if (process.binaryPath()) {
        record.insert(QStringLiteral("binary"), *process.binaryPath());
    }
    return record;
}

QJsonObject windows(const AppStateStore& state) {
    QJsonObject windows{
        {QStringLiteral("command_bar_visible"), state.showCommandBar()},
        {QStringLiteral("overlay_active"), state.showCommandBar() || state.showOnboarding()}};
    if (state.showOnboarding()) {
        windows.insert(
            QStringLiteral("onboarding"),
            QJsonObject{{QStringLiteral("step"), orNull(state.onboardingStepTitle())},
                        {QStringLiteral("step_index"), orNull(state.onboardingStepIndex())},
                        {QStringLiteral("step_count"), orNull(state.onboardingStepCount())},
                        {QStringLiteral("first_run"), orNull(state.firstRunPhase())}});
    }
    return windows;
}

} // namespace

HttpResponse answer(const WindowContext& context, const std::optional<QString>& vaultPath,
                    const QStringList& vaultWindows, std::optional<int> port) {
    if (!context.appState) {
        return HttpResponse::error(500, QStringLiteral("appState not attached"));
    }
    const AppStateStore& state = *context.appState;
    QJsonObject record{
        {QStringLiteral("selection"), sidebarItemWord(state.selection())},
        {QStringLiteral("bundle"), bundleIdentifier()},
        {QStringLiteral("windows"), windows(state)},
        {QStringLiteral("period"), orNull(state.shownPeriod())},
        {QStringLiteral("answered_for"), vaultPath.value_or(QStringLiteral("primary"))},
        {QStringLiteral("vault_windows"), QJsonArray::fromStringList(vaultWindows)},
        {QStringLiteral("introspection_port"), orNull(port)},
    };
    const QJsonArray questions = context.database ? openQuestions(*context.database) : QJsonArray();
    record.insert(QStringLiteral("open_question_count"), questions.size());
    record.insert(QStringLiteral("open_questions"), questions);
    // Block versions that lost a sync conflict and were not yet shown, as the shell's line says.
    if (vaultPath || context.config) {
        const QString vaultRoot = vaultPath ? *vaultPath : context.config->vaultRoot();
        record.insert(QStringLiteral("kept_conflicts"),
                      ConflictsFile(ConflictsFile::pathIn(vaultRoot)).unreviewed());
    }
    record.insert(QStringLiteral("daemon"),
                  context.daemon ? QJsonValue(daemon(*context.daemon)) : QJsonValue());
    record.insert(QStringLiteral("daemon_process"),
                  context.daemonProcess ? daemonProcess(*context.daemonProcess) : QJsonValue());
    return HttpResponse::json(200, record);
}

} // namespace mnemora::StateRecord
