#include "ui/IntegrationsModel.h"

#include <QJsonArray>
#include <QLocale>
#include <QPointer>
#include <QSettings>

#include "app/ConfigService.h"
#include "app/UserDefaults.h"
#include "cloud/CompanionPublisher.h"
#include "daemon/DaemonEndpoints.h"
#include "daemon/DaemonProcess.h"
#include "daemon/DaemonService.h"
#include "integrations/Dreamer.h"
#include "integrations/DreamerControl.h"
#include "integrations/McpRegistration.h"
#include "integrations/PromptSeedService.h"
#include "integrations/SkillSeedService.h"
#include "integrations/SourceSeedService.h"
#include "ui/QrCode.h"

namespace mnemora {

namespace {

QString limitText(const SessionLimit& limit) {
    QString text = limit.message;
    if (limit.resetsAt) {
        text += QStringLiteral(" (resets ") +
                QLocale().toString(limit.resetsAt->toLocalTime(), QLocale::ShortFormat) +
                QLatin1Char(')');
    }
    return text;
}

QString chipWord(Dreamer::Chip::Kind kind) {
    switch (kind) {
    case Dreamer::Chip::Kind::trigger:
        return QStringLiteral("trigger");
    case Dreamer::Chip::Kind::waiting:
        return QStringLiteral("waiting");
    case Dreamer::Chip::Kind::running:
        return QStringLiteral("running");
    }
    return {};
}

} // namespace

IntegrationsModel::IntegrationsModel(const WindowServices& services, QObject* parent)
    : ScreenModel(SidebarItem::integrations, services, parent) {
    if (services.dreamer) {
        connect(services.dreamer, &DreamerControl::liveSessionsChanged, this,
                &IntegrationsModel::detailsChanged);
        connect(services.dreamer, &DreamerControl::triggeringChanged, this,
                &IntegrationsModel::detailsChanged);
    }
}

QString IntegrationsModel::lead() {
    return QStringLiteral("Use this context in Claude Code and other AI tools.");
}

QVariantMap IntegrationsModel::bannerFor(const std::optional<QJsonObject>& prerequisites) {
    if (!prerequisites) {
        return {};
    }
    bool claude = false;
    bool tmux = false;
    for (const QJsonValue& tool : prerequisites->value(QStringLiteral("tools")).toArray()) {
        const QJsonObject entry = tool.toObject();
        const bool installed = entry.value(QStringLiteral("path")).isString();
        const QString id = entry.value(QStringLiteral("id")).toString();
        claude = claude || (id == QStringLiteral("claude") && installed);
        tmux = tmux || (id == QStringLiteral("tmux") && installed);
    }
    if (claude && tmux) {
        return {{QStringLiteral("title"), QString()},
                {QStringLiteral("text"),
                 QStringLiteral("Setup complete — Claude Code, tmux, and Anthropic auth are "
                                "ready.")}};
    }
    return {{QStringLiteral("title"), QStringLiteral("Setup needed")},
            {QStringLiteral("text"),
             QStringLiteral("AI Integrations needs Claude Code (and tmux for dreamer sessions). "
                            "Install both before launching workflows.")}};
}

QVariantList IntegrationsModel::cadences() const {
    QVariantList cards;
    DreamerControl* dreamer = services().dreamer;
    if (!dreamer) {
        return cards;
    }
    const QList<Question> open = services().openQuestions();
    for (const Dreamer::Cadence& cadence : Dreamer::cadences()) {
        const Dreamer::Chip chip =
            Dreamer::chip(cadence.cadence, dreamer->liveSessions(), open, brand());
        cards << QVariantMap{{QStringLiteral("cadence"), cadence.cadence},
                             {QStringLiteral("title"), cadence.cardTitle},
                             {QStringLiteral("text"), cadence.cardText},
                             {QStringLiteral("chip"), chipWord(chip.kind)},
                             {QStringLiteral("label"), chip.label},
                             {QStringLiteral("help"), chip.help},
                             {QStringLiteral("session"), chip.session},
                             {QStringLiteral("triggering"), dreamer->isTriggering(cadence.cadence)},
                             {QStringLiteral("attachHelp"), Dreamer::attachHelp()},
                             {QStringLiteral("stopHelp"), Dreamer::stopHelp()}};
    }
    return cards;
}

QObject* IntegrationsModel::skills() const {
    return services().skillSeeds;
}
QObject* IntegrationsModel::prompts() const {
    return services().promptSeeds;
}
QObject* IntegrationsModel::sources() const {
    return services().sourceSeeds;
}

QVariantMap IntegrationsModel::registration() const {
    const QString vault = services().config->vaultRoot();
    const bool registered = McpRegistration::isRegistered(vault, brand());
    const QString daemonPath = services().daemonProcess->binaryPath().value_or(
        BrandProfile::daemonBinaryNames(brand()).first());
    return {{QStringLiteral("registered"), registered},
            {QStringLiteral("title"), registered ? McpRegistration::registeredText(vault)
                                                 : McpRegistration::notRegisteredTitle()},
            {QStringLiteral("text"), registered ? QString() : McpRegistration::notRegisteredText()},
            {QStringLiteral("snippetHeading"), McpRegistration::snippetHeading()},
            {QStringLiteral("snippet"), McpRegistration::snippet(brand(), daemonPath)}};
}

QVariantMap IntegrationsModel::settings() const {
    QVariantList modes;
    for (const Dreamer::PermissionMode& mode : Dreamer::permissionModes()) {
        modes << QVariantMap{{QStringLiteral("value"), mode.value},
                             {QStringLiteral("label"), mode.label},
                             {QStringLiteral("text"), mode.text}};
    }
    const int hour = services().config->claudeScheduleHour();
    return {{QStringLiteral("heading"), Dreamer::permissionHeading()},
            {QStringLiteral("note"), Dreamer::permissionNote()},
            {QStringLiteral("modes"), modes},
            {QStringLiteral("mode"),
             Dreamer::effectivePermissionMode(services().config->dreamerPermissionMode())},
            {QStringLiteral("hour"), hour},
            {QStringLiteral("hourText"), Dreamer::hourText(hour)},
            {QStringLiteral("showAttach"),
             UserDefaults().boolValue(QString::fromLatin1(UserDefaults::showSessionTerminal))}};
}

QVariantMap IntegrationsModel::companion() const {
    const QSettings defaults(UserDefaults().filePath(), QSettings::IniFormat);
    return companionFor(RecordStoreSettings::read(defaults));
}

QVariantMap IntegrationsModel::companionFor(const RecordStoreSettings& store) {
    if (!store.isConfigured()) {
        return {};
    }
    const QString url = CompanionPublisher::appUrl(store.databaseUrl).toString();
    QVariantMap companion{{QStringLiteral("url"), url}};
    if (const std::optional<QrCode> code = QrCode::encode(url)) {
        QVariantList modules;
        modules.reserve(code->modules.size());
        for (const bool dark : code->modules) {
            modules << dark;
        }
        companion.insert(QStringLiteral("qrSize"), code->size);
        companion.insert(QStringLiteral("qrModules"), modules);
    }
    return companion;
}

QString IntegrationsModel::failureTitle() const {
    return errorText().isEmpty() ? QString() : QStringLiteral("Action failed");
}

void IntegrationsModel::setMessage(const QString& message) {
    message_ = message;
    emit detailsChanged();
}

void IntegrationsModel::report(const Expected<void>& result, const QString& success) {
    setErrorText(result.error());
    setMessage(result.ok() ? success : QString());
}

void IntegrationsModel::stopSession(const QString& name) {
    // Started and left: the coroutine guards this model.
    kill(name);
}

void IntegrationsModel::trigger(const QString& cadence) {
    // Started and left: the coroutine guards this model.
    spawn(cadence);
}

void IntegrationsModel::attach(const QString& name) {
    open(QStringLiteral("attach"), name);
}

void IntegrationsModel::launchSeed(const QString& kind, const QString& id) {
    // Started and left: the coroutine guards this model.
    open(kind, id);
}

void IntegrationsModel::setPermissionMode(const QString& mode) {
    const bool written =
        services().config->write({{QStringLiteral("dreamer_permission_mode"), QJsonValue(mode)}});
    setErrorText(written ? QString() : services().config->lastError());
    emit detailsChanged();
}

void IntegrationsModel::saveSchedule(int hour) {
    const bool written = services().config->write(
        {{QStringLiteral("claude_schedule_hour"), QJsonValue(qBound(0, hour, 23))}});
    setErrorText(written ? QString() : services().config->lastError());
    emit detailsChanged();
}

void IntegrationsModel::setShowAttach(bool show) {
    UserDefaults().setBool(QString::fromLatin1(UserDefaults::showSessionTerminal), show);
    emit detailsChanged();
}

QCoro::Task<> IntegrationsModel::kill(QString name) {
    QPointer<IntegrationsModel> self(this);
    QCoro::Task<Expected<void>> killing = DaemonEndpoints::killSession(services().daemon, name);
    const Expected<void> result = co_await killing;
    if (!self) {
        co_return;
    }
    setErrorText(result.error());
    QCoro::Task<> reloading = load();
    co_await reloading;
}

QCoro::Task<> IntegrationsModel::spawn(QString cadence) {
    QPointer<IntegrationsModel> self(this);
    QPointer<DreamerControl> dreamer = services().dreamer;
    if (!dreamer) {
        co_return;
    }
    QCoro::Task<Expected<void>> triggering = dreamer->trigger(cadence);
    const Expected<void> result = co_await triggering;
    if (!self) {
        co_return;
    }
    report(result, QStringLiteral("Session spawned. Refreshing…"));
    QCoro::Task<> reloading = load();
    co_await reloading;
}

QCoro::Task<> IntegrationsModel::open(QString kind, QString id) {
    QPointer<IntegrationsModel> self(this);
    QCoro::Task<Expected<void>> opening = startSession(services(), kind, id);
    const Expected<void> result = co_await opening;
    if (self) {
        report(result);
    }
}

QCoro::Task<Expected<void>> IntegrationsModel::startSession(WindowServices given, QString kind,
                                                            QString id) {
    if (kind == QStringLiteral("attach") && given.dreamer) {
        QCoro::Task<Expected<void>> attaching = given.dreamer->attach(id);
        co_return co_await attaching;
    }
    SeedService* seeds =
        kind == QStringLiteral("prompt")   ? static_cast<SeedService*>(given.promptSeeds)
        : kind == QStringLiteral("source") ? static_cast<SeedService*>(given.sourceSeeds)
                                           : static_cast<SeedService*>(given.skillSeeds);
    if (!seeds) {
        co_return fail(QStringLiteral("Sessions open from the main window."));
    }
    if (kind == QStringLiteral("custom")) {
        QCoro::Task<Expected<void>> custom = seeds->launchCustomSession();
        co_return co_await custom;
    }
    QCoro::Task<Expected<void>> launching = seeds->launch(id);
    co_return co_await launching;
}

QCoro::Task<> IntegrationsModel::load() {
    QPointer<IntegrationsModel> self(this);
    QCoro::Task<std::optional<QJsonObject>> asking =
        DaemonEndpoints::prerequisites(services().daemon);
    const std::optional<QJsonObject> tools = co_await asking;
    if (!self) {
        co_return;
    }
    banner_ = bannerFor(tools);
    emit detailsChanged();
    // A skill the user installed since the last look shows as installed.
    if (QPointer<SkillSeedService> skills = services().skillSeeds) {
        QCoro::Task<> rereading = skills->refresh();
        co_await rereading;
        if (!self) {
            co_return;
        }
    }
    if (QPointer<DreamerControl> dreamer = services().dreamer) {
        QCoro::Task<> refreshing = dreamer->refresh();
        co_await refreshing;
        if (!self) {
            co_return;
        }
    }
    QCoro::Task<> sessions = loadSessions();
    co_await sessions;
}

QCoro::Task<> IntegrationsModel::loadSessions() {
    QPointer<IntegrationsModel> self(this);
    QCoro::Task<std::optional<DreamerSessions>> fetching =
        DaemonEndpoints::dreamerSessions(services().daemon);
    const std::optional<DreamerSessions> live = co_await fetching;
    if (!self) {
        co_return;
    }
    QVariantList rows;
    if (live) {
        for (const QString& session : live->sessions) {
            const auto limit = live->limits.constFind(session);
            rows << QVariantMap{{QStringLiteral("title"), session},
                                {QStringLiteral("subtitle"),
                                 limit == live->limits.constEnd() ? QString() : limitText(*limit)}};
        }
    }
    QStringList summary;
    if (!rows.isEmpty()) {
        summary << QString::number(rows.size()) + (rows.size() == 1
                                                       ? QStringLiteral(" session running")
                                                       : QStringLiteral(" sessions running"));
    }
    setRows(rows, summary);
}

} // namespace mnemora
