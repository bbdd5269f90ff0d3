#include "introspection/IntrospectionActions.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

#include "app/AppStateStore.h"
#include "app/Brand.h"
#include "platform/Paths.h"

namespace mnemora {

namespace {

const QStringList kSelections = {QStringLiteral("home"),         QStringLiteral("lifeBook"),
                                 QStringLiteral("transcribe"),   QStringLiteral("people"),
                                 QStringLiteral("timeline"),     QStringLiteral("sources"),
                                 QStringLiteral("integrations"), QStringLiteral("processing")};

const QStringList kSurfaces = {QStringLiteral("letter"), QStringLiteral("ledger"),
                               QStringLiteral("photo-review")};

const QStringList kOnboardingCommands = {
    QStringLiteral("restart"),        QStringLiteral("advance"),
    QStringLiteral("back"),           QStringLiteral("finish"),
    QStringLiteral("recheck-photos"), QStringLiteral("fda"),
    QStringLiteral("screen-a"),       QStringLiteral("screen-b"),
    QStringLiteral("screen-c"),       QStringLiteral("screen-b-spoken"),
    QStringLiteral("screen-b-fresh"), QStringLiteral("screen-b-phone"),
    QStringLiteral("acceptance-card")};

QJsonArray array(const QStringList& list) {
    return QJsonArray::fromStringList(list);
}

std::optional<SidebarItem> selectionFor(const QString& word) {
    for (int i = 0; i <= static_cast<int>(SidebarItem::processing); ++i) {
        if (sidebarItemWord(static_cast<SidebarItem>(i)) == word) {
            return static_cast<SidebarItem>(i);
        }
    }
    return std::nullopt;
}

HttpResponse navigate(AppStateStore& state, const ActionCall& call) {
    const std::optional<SidebarItem> item = selectionFor(call.string("target").value_or(QString()));
    if (!item) {
        return HttpResponse::error(400, QStringLiteral("unknown target"),
                                   {{QStringLiteral("valid"), array(kSelections)}});
    }
    state.setSelection(*item);
    return ActionCall::ok({{QStringLiteral("selection"), sidebarItemWord(*item)}});
}

// Places one of the pending fields a screen consumes; `valid` empty takes any text.
HttpResponse place(const ActionCall& call, const char* key, const QStringList& valid,
                   const QString& expectWords, const std::function<void(const QString&)>& set) {
    const std::optional<QString> value = call.string(key);
    if (!value || (!valid.isEmpty() && !valid.contains(*value))) {
        return valid.isEmpty() || key == QLatin1String("direction")
                   ? ActionCall::expect(expectWords)
                   : ActionCall::expect(expectWords, {{QStringLiteral("valid"), array(valid)}});
    }
    set(*value);
    return ActionCall::ok({{QString::fromLatin1(key), *value}});
}

HttpResponse firstRun(AppStateStore& state, const ActionCall& call) {
    const QString command = call.string("command").value_or(QString());
    const QStringList valid =
        QStringList{QStringLiteral("state"), QStringLiteral("speak")} + kOnboardingCommands;
    if (command == QLatin1String("state")) {
        const auto orNull = [](const auto& value) {
            return value ? QJsonValue(*value) : QJsonValue(QJsonValue::Null);
        };
        return ActionCall::ok(
            {{QStringLiteral("first_run"), orNull(state.firstRunPhase())},
             {QStringLiteral("show_onboarding"), state.showOnboarding()},
             {QStringLiteral("step"), orNull(state.onboardingStepTitle())},
             {QStringLiteral("step_index"), orNull(state.onboardingStepIndex())},
             {QStringLiteral("step_count"), orNull(state.onboardingStepCount())}});
    }
    if (command == QLatin1String("speak")) {
        const QString clip = call.string("clip").value_or(QString());
        const int seconds = static_cast<int>(call.number("seconds").value_or(0));
        const QFileInfo file(clip);
        if (clip.isEmpty() || !file.exists()) {
            return HttpResponse::error(400, QStringLiteral("no such clip: ") + clip);
        }
        state.setPendingFirstRunClip(AppStateStore::FirstRunClip{clip, seconds});
        return ActionCall::ok({{QStringLiteral("clip"), clip},
                               {QStringLiteral("seconds"), seconds},
                               {QStringLiteral("readable"), file.isReadable()}});
    }
    if (kOnboardingCommands.contains(command)) {
        state.setPendingOnboardingCommand(command);
        return ActionCall::ok({{QStringLiteral("command"), command},
                               {QStringLiteral("valid_commands"), array(valid)}});
    }
    return HttpResponse::error(400, QStringLiteral("unknown command '%1'").arg(command),
                               {{QStringLiteral("valid_commands"), array(valid)}});
}

HttpResponse onboarding(AppStateStore& state, const ActionCall& call) {
    const std::optional<QString> command = call.string("command");
    if (!command) {
        return ActionCall::expect(QStringLiteral("expect {command}"));
    }
    if (!kOnboardingCommands.contains(*command)) {
        return HttpResponse::error(
            400, QStringLiteral("unknown first-run command"),
            {{QStringLiteral("valid_commands"), array(kOnboardingCommands)}});
    }
    state.setPendingOnboardingCommand(*command);
    return ActionCall::ok({{QStringLiteral("command"), *command},
                           {QStringLiteral("valid_commands"), array(kOnboardingCommands)}});
}

HttpResponse dropVoiceModel() {
    const QString path =
        Paths::applicationSupportRoot() + QStringLiteral("/Mnemora/models");
    QDir models(path);
    const bool existed = models.exists();
    if (existed && !models.removeRecursively()) {
        return HttpResponse::error(500, QStringLiteral("could not delete ") + path);
    }
    return ActionCall::ok(
        {{QStringLiteral("existed"), existed},
         {QStringLiteral("path"), path},
         {QStringLiteral("note"), QStringLiteral("the next mic press re-downloads ~1.6 GB")}});
}

std::optional<HttpResponse> stateAction(const QString& word, AppStateStore& state,
                                        const ActionCall& call) {
    if (word == QLatin1String("navigate")) {
        return navigate(state, call);
    }
    if (word == QLatin1String("toggle-command-bar")) {
        state.setShowCommandBar(!state.showCommandBar());
        return ActionCall::ok({{QStringLiteral("show_command_bar"), state.showCommandBar()}});
    }
    if (word == QLatin1String("toggle-onboarding")) {
        state.setShowOnboarding(!state.showOnboarding());
        return ActionCall::ok({{QStringLiteral("show_onboarding"), state.showOnboarding()}});
    }
    if (word == QLatin1String("dismiss-overlay")) {
        state.setPendingDismissOverlay(true);
        return ActionCall::ok();
    }
    if (word == QLatin1String("open-settings")) {
        state.setPendingOpenSettings(true);
        return ActionCall::ok();
    }
    if (word == QLatin1String("command-bar-run")) {
        return place(call, "query", {}, QStringLiteral("expect {query}"),
                     [&](const QString& query) { state.setPendingCommandBarRun(query); });
    }
    if (word == QLatin1String("show-surface")) {
        return place(call, "target", kSurfaces, QStringLiteral("expect {target}"),
                     [&](const QString& target) { state.setPendingTalloDestination(target); });
    }
    if (word == QLatin1String("step-period")) {
        return place(call, "direction", {QStringLiteral("back"), QStringLiteral("forward")},
                     QStringLiteral("direction must be back or forward"),
                     [&](const QString& direction) { state.setPendingPeriodStep(direction); });
    }
    if (word == QLatin1String("select-books")) {
        return place(call, "books", {}, QStringLiteral("expect {books: <slug>}"),
                     [&](const QString& books) { state.setPendingBooksSelection(books); });
    }
    if (word == QLatin1String("onboarding")) {
        return onboarding(state, call);
    }
    if (word == QLatin1String("first-run")) {
        return firstRun(state, call);
    }
    return std::nullopt;
}

} // namespace

std::optional<QString> ActionCall::string(const char* key) const {
    const QJsonValue value = body.value(QLatin1String(key));
    return value.isString() ? std::optional<QString>(value.toString()) : std::nullopt;
}

std::optional<double> ActionCall::number(const char* key) const {
    const QJsonValue value = body.value(QLatin1String(key));
    return value.isDouble() ? std::optional<double>(value.toDouble()) : std::nullopt;
}

std::variant<IntrospectionServer::Target, HttpResponse> ActionCall::target() const {
    return server->target(string("vault"), string("window"));
}

HttpResponse ActionCall::ok(QJsonObject keys) {
    keys.insert(QStringLiteral("ok"), true);
    return HttpResponse::json(200, keys);
}

HttpResponse ActionCall::expect(const QString& words, QJsonObject more) {
    return HttpResponse::error(400, words, std::move(more));
}

HttpResponse ActionCall::notAttached(const char* service) {
    return HttpResponse::error(500, QLatin1String(service) + QStringLiteral(" not attached"));
}

namespace IntrospectionActions {

QStringList words() {
    static const QStringList all = {QStringLiteral("navigate"),
                                    QStringLiteral("toggle-command-bar"),
                                    QStringLiteral("toggle-onboarding"),
                                    QStringLiteral("dismiss-overlay"),
                                    QStringLiteral("open-settings"),
                                    QStringLiteral("command-bar-run"),
                                    QStringLiteral("show-surface"),
                                    QStringLiteral("step-period"),
                                    QStringLiteral("select-books"),
                                    QStringLiteral("refresh-questions"),
                                    QStringLiteral("answer-question"),
                                    QStringLiteral("dismiss-question"),
                                    QStringLiteral("update-config"),
                                    QStringLiteral("reveal-photo"),
                                    QStringLiteral("start-processing"),
                                    QStringLiteral("stop-processing"),
                                    QStringLiteral("restart-daemon"),
                                    QStringLiteral("resync-vault"),
                                    QStringLiteral("sync-zones"),
                                    QStringLiteral("open-window"),
                                    QStringLiteral("open-demo"),
                                    QStringLiteral("activate"),
                                    QStringLiteral("focus-window"),
                                    QStringLiteral("close-window"),
                                    QStringLiteral("window-frame"),
                                    QStringLiteral("appearance"),
                                    QStringLiteral("ax-press"),
                                    QStringLiteral("ax-set-value"),
                                    QStringLiteral("click"),
                                    QStringLiteral("type-text"),
                                    QStringLiteral("key"),
                                    QStringLiteral("scroll"),
                                    QStringLiteral("onboarding"),
                                    QStringLiteral("first-run"),
                                    QStringLiteral("drop-voice-model")};
    return all;
}

std::optional<HttpResponse> runStateAction(const QString& word, const ActionCall& call) {
    if (word == QLatin1String("drop-voice-model")) {
        return dropVoiceModel();
    }
    static const QStringList stateWords = {
        QStringLiteral("navigate"),          QStringLiteral("toggle-command-bar"),
        QStringLiteral("toggle-onboarding"), QStringLiteral("dismiss-overlay"),
        QStringLiteral("open-settings"),     QStringLiteral("command-bar-run"),
        QStringLiteral("show-surface"),      QStringLiteral("step-period"),
        QStringLiteral("select-books"),      QStringLiteral("onboarding"),
        QStringLiteral("first-run")};
    if (!stateWords.contains(word)) {
        return std::nullopt;
    }
    auto targeted = call.target();
    if (auto* refused = std::get_if<HttpResponse>(&targeted)) {
        return *refused;
    }
    AppStateStore* state = std::get<IntrospectionServer::Target>(targeted).context.appState;
    if (!state) {
        return ActionCall::notAttached("appState");
    }
    return stateAction(word, *state, call);
}

QCoro::Task<HttpResponse> run(QPointer<IntrospectionServer> server, QByteArray body) {
    const QJsonDocument document = QJsonDocument::fromJson(body);
    const QJsonObject object = document.object();
    if (!document.isObject() || !object.value(QStringLiteral("action")).isString()) {
        co_return HttpResponse::error(400,
                                      QStringLiteral("invalid body, expect {action: String, ...}"));
    }
    const QString word = object.value(QStringLiteral("action")).toString();
    const ActionCall call{server, object};
    // A vault window whose daemon has gone is brought back before anything is relayed to it.
    auto targeted = call.target();
    if (auto* named = std::get_if<IntrospectionServer::Target>(&targeted);
        named && named->vaultPath && named->context.reviveIfNeeded) {
        QCoro::Task<> reviving = named->context.reviveIfNeeded();
        co_await reviving;
        if (!server) {
            co_return HttpResponse::error(500, QStringLiteral("server stopped"));
        }
    }
    if (std::optional<HttpResponse> answer = runStateAction(word, call)) {
        co_return *answer;
    }
    if (std::optional<HttpResponse> answer = runWindowAction(word, call)) {
        co_return *answer;
    }
    if (std::optional<HttpResponse> answer = runInputAction(word, call)) {
        co_return *answer;
    }
    QCoro::Task<std::optional<HttpResponse>> data = runDataAction(word, call);
    std::optional<HttpResponse> answer = co_await data;
    if (answer) {
        co_return *answer;
    }
    co_return HttpResponse::error(400, QStringLiteral("unknown action"),
                                  {{QStringLiteral("valid"), array(words())}});
}

} // namespace IntrospectionActions

} // namespace mnemora
