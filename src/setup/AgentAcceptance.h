#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <optional>

#include "app/Brand.h"
#include "platform/Expected.h"
#include "registry/Question.h"

namespace mnemora {

// The user's consent to let the agent work as them, kept in the vault: when and under which
// words it was given, and the login cards the user chose to do by hand instead.
struct AgentAcceptanceRecord {
    std::optional<QDateTime> acceptedAt;
    std::optional<int> wording;
    std::optional<QString> product;
    std::optional<QString> atTrigger;
    std::optional<QString> atQuestion;
    std::optional<QString> atQuestionText;
    QStringList declined; // without duplicates

    bool operator==(const AgentAcceptanceRecord&) const = default;
};

// What asks for the consent: the setup's browser check, or a login card of the inbox.
struct AgentAcceptanceTrigger {
    enum class Kind { loginCard, setupCheck };
    Kind kind = Kind::setupCheck;
    QString slug; // of the login card

    static AgentAcceptanceTrigger loginCard(QString slug) { return {Kind::loginCard, slug}; }
    static AgentAcceptanceTrigger setupCheck() { return {Kind::setupCheck, {}}; }
    // The slug, or "setup:browser-check".
    QString text() const;

    bool operator==(const AgentAcceptanceTrigger&) const = default;
};

// Every word of the consent sheet for one brand and trigger.
struct AgentAcceptanceCopy {
    QString opening;
    QStringList points;
    int withholdIndex = 2;
    QString permissionNote;
    QString responsibility;
    QString termsLinkText;
    QString termsTailText;
    QString termsUrl;
    QString acceptLabel;
    QString declineLabel;
    QString declineAnswer;

    QVariantMap toVariant() const;
    bool operator==(const AgentAcceptanceCopy&) const = default;
};

namespace AgentAcceptance {

// The words shown; written into the record with an acceptance.
inline constexpr int kWording = 1;

// `{vault}/.mnemora/browser-handover.json`.
QString recordPath(const QString& vault);
// None when the file is missing or does not read as a record: the sheet then shows again.
std::optional<AgentAcceptanceRecord> load(const QString& vault);
// Sorted keys, pretty-printed, atomically.
Expected<void> save(const QString& vault, const AgentAcceptanceRecord& record);

// 0: accepted, nothing to ask. 1: ask. 2: the user refused this trigger and was not asked since.
int state(const std::optional<AgentAcceptanceRecord>& record,
          const AgentAcceptanceTrigger& trigger);
AgentAcceptanceRecord addDeclined(std::optional<AgentAcceptanceRecord> record,
                                  const AgentAcceptanceTrigger& trigger);
AgentAcceptanceRecord clearDeclined(std::optional<AgentAcceptanceRecord> record,
                                    const AgentAcceptanceTrigger& trigger);
// The record after the user accepted at `trigger` (a login card names its question).
AgentAcceptanceRecord accepted(std::optional<AgentAcceptanceRecord> record,
                               const AgentAcceptanceTrigger& trigger, const QDateTime& now,
                               const QString& product, const std::optional<Question>& question);

// A login card asks; every other question, and one without a kind, does not.
std::optional<AgentAcceptanceTrigger> triggerFor(const Question& question);

AgentAcceptanceCopy copy(Brand brand, const AgentAcceptanceTrigger& trigger);

} // namespace AgentAcceptance

} // namespace mnemora
