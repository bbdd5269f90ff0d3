#include "setup/AgentAcceptance.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "app/JsonRead.h"
#include "platform/AtomicFile.h"

namespace mnemora {

namespace {

const QString kSetupTrigger = QStringLiteral("setup:browser-check");

QString isoDate(const QDateTime& instant) {
    return instant.toUTC().toString(Qt::ISODate);
}

QString termsHost(Brand brand) {
    switch (brand) {
    case Brand::voxlet:
        return QStringLiteral("https://voxlet.ai");
    case Brand::tallo:
        return QStringLiteral("https://tallo.ai");
    case Brand::mnemora:
        break;
    }
    return QStringLiteral("https://mnemora.ai");
}

QJsonObject toJson(const AgentAcceptanceRecord& record) {
    // QJsonObject keeps its keys sorted, so the file's keys come out in order.
    QJsonObject json{{QStringLiteral("declined"), QJsonArray::fromStringList(record.declined)}};
    if (record.acceptedAt) {
        json.insert(QStringLiteral("acceptedAt"), isoDate(*record.acceptedAt));
    }
    if (record.wording) {
        json.insert(QStringLiteral("wording"), *record.wording);
    }
    const std::pair<const char*, const std::optional<QString>*> texts[] = {
        {"product", &record.product},
        {"atTrigger", &record.atTrigger},
        {"atQuestion", &record.atQuestion},
        {"atQuestionText", &record.atQuestionText}};
    for (const auto& [key, value] : texts) {
        if (*value) {
            json.insert(QLatin1String(key), **value);
        }
    }
    return json;
}

std::optional<AgentAcceptanceRecord> fromJson(const QJsonObject& json) {
    const QJsonValue declined = json.value(QLatin1String("declined"));
    if (!declined.isArray()) {
        return std::nullopt;
    }
    AgentAcceptanceRecord record;
    for (const QJsonValue& entry : declined.toArray()) {
        if (!entry.isString()) {
            return std::nullopt;
        }
        record.declined << entry.toString();
    }
    if (json.contains(QLatin1String("acceptedAt"))) {
        const QDateTime at = QDateTime::fromString(
            JsonRead::stringOr(json, QLatin1String("acceptedAt")), Qt::ISODate);
        if (!at.isValid()) {
            return std::nullopt;
        }
        record.acceptedAt = at.toUTC();
    }
    if (const auto wording = JsonRead::integer(json, QLatin1String("wording"))) {
        record.wording = static_cast<int>(*wording);
    }
    record.product = JsonRead::string(json, QLatin1String("product"));
    record.atTrigger = JsonRead::string(json, QLatin1String("atTrigger"));
    record.atQuestion = JsonRead::string(json, QLatin1String("atQuestion"));
    record.atQuestionText = JsonRead::string(json, QLatin1String("atQuestionText"));
    return record;
}

} // namespace

QString AgentAcceptanceTrigger::text() const {
    return kind == Kind::setupCheck ? kSetupTrigger : slug;
}

QVariantMap AgentAcceptanceCopy::toVariant() const {
    return {{QStringLiteral("opening"), opening},
            {QStringLiteral("points"), points},
            {QStringLiteral("withholdIndex"), withholdIndex},
            {QStringLiteral("permissionNote"), permissionNote},
            {QStringLiteral("responsibility"), responsibility},
            {QStringLiteral("termsLinkText"), termsLinkText},
            {QStringLiteral("termsTailText"), termsTailText},
            {QStringLiteral("termsUrl"), termsUrl},
            {QStringLiteral("acceptLabel"), acceptLabel},
            {QStringLiteral("declineLabel"), declineLabel},
            {QStringLiteral("declineAnswer"), declineAnswer}};
}

namespace AgentAcceptance {

QString recordPath(const QString& vault) {
    return vault + QStringLiteral("/.mnemora/browser-handover.json");
}

std::optional<AgentAcceptanceRecord> load(const QString& vault) {
    QFile file(recordPath(vault));
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    if (!document.isObject()) {
        return std::nullopt;
    }
    return fromJson(document.object());
}

Expected<void> save(const QString& vault, const AgentAcceptanceRecord& record) {
    // A folder that cannot be made shows up as the write's own failure.
    QDir().mkpath(vault + QStringLiteral("/.mnemora"));
    const std::optional<QString> failure = writeFileAtomically(
        recordPath(vault), QJsonDocument(toJson(record)).toJson(QJsonDocument::Indented));
    if (failure) {
        return fail(*failure);
    }
    return {};
}

int state(const std::optional<AgentAcceptanceRecord>& record,
          const AgentAcceptanceTrigger& trigger) {
    if (!record) {
        return 1;
    }
    if (record->acceptedAt) {
        return 0;
    }
    return record->declined.contains(trigger.text()) ? 2 : 1;
}

AgentAcceptanceRecord addDeclined(std::optional<AgentAcceptanceRecord> record,
                                  const AgentAcceptanceTrigger& trigger) {
    AgentAcceptanceRecord next = record.value_or(AgentAcceptanceRecord{});
    if (!next.declined.contains(trigger.text())) {
        next.declined << trigger.text();
    }
    return next;
}

AgentAcceptanceRecord clearDeclined(std::optional<AgentAcceptanceRecord> record,
                                    const AgentAcceptanceTrigger& trigger) {
    AgentAcceptanceRecord next = record.value_or(AgentAcceptanceRecord{});
    next.declined.removeAll(trigger.text());
    return next;
}

AgentAcceptanceRecord accepted(std::optional<AgentAcceptanceRecord> record,
                               const AgentAcceptanceTrigger& trigger, const QDateTime& now,
                               const QString& product, const std::optional<Question>& question) {
    AgentAcceptanceRecord next = clearDeclined(std::move(record), trigger);
    next.acceptedAt = now.toUTC();
    next.wording = kWording;
    next.product = product;
    next.atTrigger = trigger.text();
    if (trigger.kind == AgentAcceptanceTrigger::Kind::loginCard && question) {
        next.atQuestion = QFileInfo(question->filePath).fileName();
        next.atQuestionText = question->text;
    }
    return next;
}

std::optional<AgentAcceptanceTrigger> triggerFor(const Question& question) {
    if (question.kind && question.kind->trimmed().toLower() == QLatin1String("login")) {
        return AgentAcceptanceTrigger::loginCard(question.slug);
    }
    return std::nullopt;
}

AgentAcceptanceCopy copy(Brand brand, const AgentAcceptanceTrigger& trigger) {
    const QString name = BrandProfile::name(brand);
    const bool tallo = brand == Brand::tallo;
    const bool setup = trigger.kind == AgentAcceptanceTrigger::Kind::setupCheck;
    AgentAcceptanceCopy words;
    words.opening = QStringLiteral(
        "I am about to start working on your computer as you, for the first time, and before I "
        "do you should know what that actually means.");
    words.points = {
        QStringLiteral("I run with your access: your files, a browser signed in as you, and "
                       "commands on this computer. I am told to work on your books and nothing "
                       "else, but the ability is wider than the instruction."),
        QStringLiteral("I read pages, documents and emails other people wrote, and someone could "
                       "put instructions in one aimed at me rather than you. Nobody has solved "
                       "that."),
        setup ? QStringLiteral("There is no version of this that does not. Everything %1 does — "
                               "reading your books, finding the paperwork, writing the letter — "
                               "it does on this computer, as you. If that is not something you "
                               "want, close it here and nothing has been touched.")
                    .arg(name)
              : QStringLiteral("You do not have to give me the browser. Fetch whatever you would "
                               "rather keep to yourself and I will do the rest — %1. That is "
                               "most of the work.")
                    .arg(tallo ? QStringLiteral("the hunting, the matching, the letter")
                               : QStringLiteral("the hunting, the matching, the write-up"))};
    words.withholdIndex = 2;
    words.acceptLabel = QStringLiteral("I understand — go ahead");
    words.termsLinkText = QStringLiteral("The full terms");
    words.termsTailText =
        QStringLiteral(" — accepted when you press “%1”, and not before.").arg(words.acceptLabel);
    words.termsUrl = termsHost(brand) + QStringLiteral("/legal/terms");
    words.responsibility =
        tallo ? QStringLiteral("%1 comes with no warranty, and what it does under your account "
                               "is your responsibility — including the bookkeeping it produces. "
                               "It is not accounting, tax or legal advice.")
                    .arg(name)
              : QStringLiteral("%1 comes with no warranty, and what it does under your account "
                               "is your responsibility.")
                    .arg(name);
    if (setup) {
        words.permissionNote =
            QStringLiteral("Your desktop may ask next. It says “%1” would like to access data "
                           "from other apps, and that is this — the browser I drive lives in "
                           "Chrome's folder. Allow it, or this one check does not run.")
                .arg(name);
        words.declineLabel = QStringLiteral("No — quit %1").arg(name);
    } else {
        words.declineLabel = QStringLiteral("I will fetch this one myself");
        words.declineAnswer =
            QStringLiteral("I will fetch this one myself — don’t sign into the portal for it. "
                           "I’ll put the file in the %1 folder. Carry on with everything else.")
                .arg(tallo ? QStringLiteral("period") : QStringLiteral("data"));
    }
    return words;
}

} // namespace AgentAcceptance

} // namespace mnemora
