// The actions that read or change data through a window's services.
#include <QJsonArray>

#include "app/ConfigService.h"
#include "daemon/DaemonProcess.h"
#include "daemon/DaemonService.h"
#include "introspection/IntrospectionActions.h"
#include "questions/QuestionService.h"
#include "registry/DatabaseService.h"

namespace mnemora::IntrospectionActions {

namespace {

using Target = IntrospectionServer::Target;

const QString kSlugNotFound = QStringLiteral("slug not found in openQuestions; provide file_path");

// The question a body names: by `file_path`, else by `slug` among the open ones.
std::variant<Question, HttpResponse>
namedQuestion(const ActionCall& call, const DatabaseService& database, const QString& expectWords) {
    const std::optional<QString> slug = call.string("slug");
    const std::optional<QString> filePath = call.string("file_path");
    if (!slug && !filePath) {
        return ActionCall::expect(expectWords);
    }
    if (slug) {
        for (const Question& question : database.openQuestions()) {
            if (question.slug == *slug) {
                return question;
            }
        }
        if (!filePath) {
            return HttpResponse::error(400, kSlugNotFound);
        }
    }
    Question question;
    question.filePath = *filePath;
    question.slug = slug.value_or(QString());
    return question;
}

HttpResponse settleQuestion(const ActionCall& call, const Target& target, bool answering) {
    if (!target.context.database || !target.context.questionService) {
        return ActionCall::notAttached(!target.context.database ? "database" : "questionService");
    }
    const QString expectWords = answering ? QStringLiteral("expect {slug?, file_path?, text}")
                                          : QStringLiteral("expect {slug?, file_path?, reason?}");
    const std::optional<QString> text = call.string("text");
    if (answering && !text) {
        return ActionCall::expect(expectWords);
    }
    auto named = namedQuestion(call, *target.context.database, expectWords);
    if (auto* refused = std::get_if<HttpResponse>(&named)) {
        return *refused;
    }
    const Question question = std::get<Question>(named);
    QuestionService& questions = *target.context.questionService;
    const QuestionService::Outcome outcome =
        answering ? questions.answerQuestion(question, *text)
                  : questions.dismissQuestion(question, call.string("reason"));
    if (outcome) {
        return HttpResponse::error(500, outcome->text());
    }
    return ActionCall::ok({{QStringLiteral("slug"), question.slug},
                           {QStringLiteral("file_path"), question.filePath}});
}

HttpResponse updateConfig(const ActionCall& call, const Target& target) {
    const QJsonValue updates = call.body.value(QStringLiteral("updates"));
    if (!updates.isObject()) {
        return ActionCall::expect(QStringLiteral("expect {updates: {...}}"));
    }
    if (!target.context.config) {
        return ActionCall::notAttached("config");
    }
    ConfigService::Updates changes;
    const QJsonObject object = updates.toObject();
    for (auto it = object.begin(); it != object.end(); ++it) {
        // A null value removes the key.
        changes.insert(it.key(),
                       it.value().isNull() ? std::nullopt : std::optional<QJsonValue>(it.value()));
    }
    if (!target.context.config->write(changes)) {
        return HttpResponse::error(500, QStringLiteral("update failed: ") +
                                            target.context.config->lastError());
    }
    return ActionCall::ok({{QStringLiteral("updated"), QJsonArray::fromStringList(object.keys())}});
}

QCoro::Task<HttpResponse> syncZones(ActionCall call) {
    const QString command = call.string("command").value_or(QString());
    if (command != QLatin1String("list") && command != QLatin1String("forget")) {
        co_return ActionCall::expect(QStringLiteral("expect {command: 'list'|'forget'}"));
    }
    const std::optional<QString> scope = call.string("scope");
    if (command == QLatin1String("forget") && !scope) {
        co_return ActionCall::expect(QStringLiteral("expect {command:'forget', scope}"));
    }
    const IntrospectionServer::Hooks hooks = call.server->hooks();
    if (command == QLatin1String("list")) {
        if (!hooks.listSyncZones) {
            co_return ActionCall::notAttached("record store");
        }
        QCoro::Task<Expected<QJsonArray>> listing = hooks.listSyncZones();
        const Expected<QJsonArray> zones = co_await listing;
        if (!zones.ok()) {
            co_return HttpResponse::error(500, zones.error());
        }
        co_return ActionCall::ok({{QStringLiteral("zones"), zones.value()}});
    }
    if (!hooks.forgetSyncZones) {
        co_return ActionCall::notAttached("record store");
    }
    QCoro::Task<Expected<QStringList>> forgetting = hooks.forgetSyncZones(*scope);
    const Expected<QStringList> deleted = co_await forgetting;
    if (!deleted.ok()) {
        co_return HttpResponse::error(500, deleted.error());
    }
    co_return ActionCall::ok(
        {{QStringLiteral("deleted"), QJsonArray::fromStringList(deleted.value())}});
}

HttpResponse resyncVault(const ActionCall& call) {
    const std::optional<QString> vault = call.string("vault");
    if (!vault || vault->isEmpty()) {
        return ActionCall::expect(QStringLiteral("vault path required"));
    }
    const auto& restart = call.server->hooks().restartBridge;
    if (!restart) {
        return ActionCall::notAttached("vault manager");
    }
    if (!restart(*vault)) {
        return HttpResponse::error(404, QStringLiteral("no open vault at ") + *vault);
    }
    return ActionCall::ok({{QStringLiteral("vault"), *vault}});
}

HttpResponse openDemo(const ActionCall& call) {
    const auto& open = call.server->hooks().openDemo;
    if (!open) {
        return ActionCall::notAttached("vault manager");
    }
    const Expected<QString> vault =
        open(call.string("identity").value_or(QStringLiteral("alex-carter")),
             call.string("display_name").value_or(QStringLiteral("Alex Carter (Demo)")));
    if (!vault.ok()) {
        return HttpResponse::error(500, vault.error());
    }
    return ActionCall::ok({{QStringLiteral("vault"), vault.value()}});
}

QCoro::Task<HttpResponse> processing(QPointer<DaemonService> daemon, bool start) {
    if (!daemon) {
        co_return ActionCall::notAttached("daemon");
    }
    QCoro::Task<DaemonReply> call = start ? daemon->processStart() : daemon->processStop();
    const DaemonReply reply = co_await call;
    if (!reply.ok()) {
        co_return HttpResponse::error(502, reply.failureText(QStringLiteral("daemon refused")));
    }
    co_return ActionCall::ok();
}

QCoro::Task<HttpResponse> restartDaemon(QPointer<DaemonProcess> process) {
    if (!process) {
        co_return ActionCall::notAttached("daemonProcess");
    }
    if (process->mode().is(DaemonMode::Kind::adopted) ||
        process->mode().is(DaemonMode::Kind::attachedExternal)) {
        co_return HttpResponse::error(500, QStringLiteral("daemon is externally managed — cannot "
                                                          "restart"));
    }
    QCoro::Task<> restarting = process->restart();
    co_await restarting;
    if (!process) {
        co_return ActionCall::notAttached("daemonProcess");
    }
    co_return ActionCall::ok({{QStringLiteral("mode"), process->mode().word()}});
}

QCoro::Task<HttpResponse> refreshQuestions(QPointer<DatabaseService> database) {
    if (!database) {
        co_return ActionCall::notAttached("database");
    }
    QCoro::Task<> loading = database->loadOpenQuestions();
    co_await loading;
    if (!database) {
        co_return ActionCall::notAttached("database");
    }
    co_return ActionCall::ok(
        {{QStringLiteral("open_question_count"), database->openQuestions().size()}});
}

} // namespace

QCoro::Task<std::optional<HttpResponse>> runDataAction(QString word, ActionCall call) {
    if (word == QLatin1String("sync-zones")) {
        QCoro::Task<HttpResponse> zones = syncZones(call);
        co_return co_await zones;
    }
    if (word == QLatin1String("resync-vault")) {
        co_return resyncVault(call);
    }
    if (word == QLatin1String("open-demo")) {
        co_return openDemo(call);
    }
    if (word == QLatin1String("reveal-photo") && !call.string("uuid")) {
        co_return ActionCall::expect(QStringLiteral("expect {uuid}"));
    }
    static const QStringList contextWords = {
        QStringLiteral("refresh-questions"), QStringLiteral("answer-question"),
        QStringLiteral("dismiss-question"),  QStringLiteral("update-config"),
        QStringLiteral("reveal-photo"),      QStringLiteral("start-processing"),
        QStringLiteral("stop-processing"),   QStringLiteral("restart-daemon")};
    if (!contextWords.contains(word)) {
        co_return std::nullopt;
    }
    auto targeted = call.target();
    if (auto* refused = std::get_if<HttpResponse>(&targeted)) {
        co_return *refused;
    }
    const Target target = std::get<Target>(targeted);
    if (word == QLatin1String("answer-question") || word == QLatin1String("dismiss-question")) {
        co_return settleQuestion(call, target, word == QLatin1String("answer-question"));
    }
    if (word == QLatin1String("update-config")) {
        co_return updateConfig(call, target);
    }
    if (word == QLatin1String("reveal-photo")) {
        // No photo library is wired in this build; the context says so.
        co_return ActionCall::notAttached("photoWriter");
    }
    QCoro::Task<HttpResponse> task =
        word == QLatin1String("refresh-questions") ? refreshQuestions(target.context.database)
        : word == QLatin1String("restart-daemon")
            ? restartDaemon(target.context.daemonProcess)
            : processing(target.context.daemon, word == QLatin1String("start-processing"));
    HttpResponse response = co_await task;
    co_return response;
}

} // namespace mnemora::IntrospectionActions
