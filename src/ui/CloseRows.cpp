#include "ui/CloseRows.h"

#include <QDate>
#include <QFileInfo>
#include <QSet>

#include "periodclose/LedgerNumber.h"
#include "periodclose/LetterDocument.h"
#include "periodclose/MaterialLists.h"

namespace mnemora::CloseRows {

namespace {

using core::ClosePhase;

constexpr ClosePhase kPhases[] = {
    ClosePhase::setup, ClosePhase::collecting, ClosePhase::matching, ClosePhase::assembling,
    ClosePhase::draft, ClosePhase::sent,       ClosePhase::closed};

QString trimmed(const std::optional<QString>& text) {
    return text.value_or(QString()).trimmed();
}

// A line's name as the user knows it: the vendor, a deliverable's label, else its kind.
QString nameOf(const PeriodCloseMaterial& row) {
    for (const std::optional<QString>* field : {&row.vendor, &row.label, &row.kind}) {
        if (!trimmed(*field).isEmpty()) {
            return trimmed(*field);
        }
    }
    return QStringLiteral("A line with no name");
}

QString standingText(const PeriodCloseMaterial& row) {
    switch (row.standing()) {
    case PeriodCloseMaterial::Standing::inHand:
        return QStringLiteral("In hand");
    case PeriodCloseMaterial::Standing::toGather:
        return QStringLiteral("Still to gather");
    case PeriodCloseMaterial::Standing::nothingToGather:
        return QStringLiteral("Nothing this period");
    case PeriodCloseMaterial::Standing::candidate:
        return QStringLiteral("Found, not yet accepted");
    case PeriodCloseMaterial::Standing::excluded:
        return QStringLiteral("Dropped");
    case PeriodCloseMaterial::Standing::other:
        break;
    }
    return trimmed(row.status);
}

QString currencyOf(const PeriodCloseMaterial& row) {
    return trimmed(row.currency).toUpper();
}

} // namespace

std::optional<ClosePhase> phase(const std::optional<PeriodCloseRun>& run) {
    if (!run) {
        return std::nullopt;
    }
    const QString status = trimmed(run->status).toLower();
    if (status == QLatin1String("sent")) {
        return ClosePhase::sent;
    }
    if (status == QLatin1String("closed") || status == QLatin1String("done")) {
        return ClosePhase::closed;
    }
    const std::string word = trimmed(run->phase).toStdString();
    return core::fromWireWord<ClosePhase>(word).value_or(ClosePhase::collecting);
}

QString phaseLabel(ClosePhase phase) {
    switch (phase) {
    case ClosePhase::setup:
        return QStringLiteral("Getting set up");
    case ClosePhase::collecting:
        return QStringLiteral("Collecting");
    case ClosePhase::matching:
        return QStringLiteral("Matching documents");
    case ClosePhase::assembling:
        return QStringLiteral("Putting it together");
    case ClosePhase::draft:
        return QStringLiteral("Letter drafted");
    case ClosePhase::sent:
        return QStringLiteral("Sent to your accountant");
    case ClosePhase::closed:
        return QStringLiteral("Closed");
    }
    return {};
}

QVariantList phaseRows(std::optional<ClosePhase> current) {
    QVariantList rows;
    for (ClosePhase each : kPhases) {
        const QString state = !current || each > *current ? QStringLiteral("next")
                              : each == *current          ? QStringLiteral("current")
                                                          : QStringLiteral("done");
        rows << QVariantMap{{QStringLiteral("label"), phaseLabel(each)},
                            {QStringLiteral("state"), state}};
    }
    return rows;
}

bool isFinished(std::optional<ClosePhase> phase) {
    return phase == ClosePhase::sent || phase == ClosePhase::closed;
}

QString stepStateText(const QString& state) {
    static const struct {
        QStringList words;
        const char* text;
    } table[] = {
        {{"done", "complete", "completed", "finished"}, "Done"},
        {{"running", "active", "in_progress", "working", "current"}, "Working on it"},
        {{"waiting", "blocked", "ask", "needs_you"}, "Waiting on you"},
        {{"skipped", "n/a", "none"}, "Skipped"},
        {{"", "pending", "todo", "queued", "skeleton"}, "Not started"},
    };
    const QString word = state.trimmed().toLower();
    for (const auto& row : table) {
        if (row.words.contains(word)) {
            return QString::fromUtf8(row.text);
        }
    }
    return state.trimmed();
}

QVariantList stepRows(const QList<RunStep>& steps) {
    QVariantList rows;
    for (const RunStep& step : steps) {
        rows << QVariantMap{{QStringLiteral("label"), step.label},
                            {QStringLiteral("state"), step.state.trimmed().toLower()},
                            {QStringLiteral("stateText"), stepStateText(step.state)},
                            {QStringLiteral("detail"), trimmed(step.detail)}};
    }
    return rows;
}

QString dateText(const std::optional<QString>& date, const QLocale& locale) {
    const QString text = trimmed(date);
    const QDate day = QDate::fromString(text.left(10), Qt::ISODate);
    return day.isValid() ? locale.toString(day, QLocale::ShortFormat) : text;
}

QString amountText(const PeriodCloseMaterial& row, const QLocale& locale) {
    if (!row.amount) {
        return {};
    }
    if (trimmed(row.currency).isEmpty()) {
        return locale.toString(*row.amount, 'f', 2);
    }
    return LedgerNumber::display(QString::number(*row.amount, 'f', 2), row.currency, locale)
        .value_or(QString());
}

QString evidenceText(const PeriodCloseMaterial& row) {
    const QString receipt = trimmed(row.receiptPath);
    if (!receipt.isEmpty()) {
        return QStringLiteral("Receipt: ") + QFileInfo(receipt).fileName();
    }
    if (!trimmed(row.photoUUID).isEmpty()) {
        return QStringLiteral("A photo in your library");
    }
    return QStringLiteral("No document yet");
}

// Where a deliverable comes from, as its row says it under the name. A row in hand is no longer
// looking, nor behind a login, whatever its source words lack.
QString deliverableSource(const PeriodCloseMaterial& row) {
    using Kind = LetterDocument::Provenance::Kind;
    const PeriodCloseMaterial::Standing standing = row.standing();
    if (standing == PeriodCloseMaterial::Standing::nothingToGather) {
        return {};
    }
    const LetterDocument::Provenance source = LetterDocument::provenance(row.source, row.status);
    if (standing == PeriodCloseMaterial::Standing::inHand &&
        (source.kind == Kind::looking || source.kind == Kind::behindLogin)) {
        return {};
    }
    return source.label();
}

QVariantList deliverableRows(const QList<PeriodCloseMaterial>& deliverables) {
    QVariantList rows;
    for (const PeriodCloseMaterial& row : deliverables) {
        rows << QVariantMap{
            {QStringLiteral("key"), row.lineKey},
            {QStringLiteral("label"), nameOf(row)},
            {QStringLiteral("statusText"), standingText(row)},
            {QStringLiteral("inHand"), row.standing() == PeriodCloseMaterial::Standing::inHand},
            {QStringLiteral("detail"), trimmed(row.detail)},
            {QStringLiteral("source"), deliverableSource(row)}};
    }
    return rows;
}

QString deliverableCount(const QList<PeriodCloseMaterial>& deliverables) {
    qsizetype inHand = 0;
    qsizetype nothing = 0;
    for (const PeriodCloseMaterial& row : deliverables) {
        inHand += row.standing() == PeriodCloseMaterial::Standing::inHand ? 1 : 0;
        nothing += row.standing() == PeriodCloseMaterial::Standing::nothingToGather ? 1 : 0;
    }
    const qsizetype expected = deliverables.size() - nothing;
    if (deliverables.isEmpty()) {
        return {};
    }
    QString text = QStringLiteral("%1 of %2 in hand").arg(inHand).arg(expected);
    if (nothing > 0) {
        text += QStringLiteral(" · %1 with nothing this period").arg(nothing);
    }
    return text;
}

QVariantList ledgerRows(const QList<PeriodCloseMaterial>& visible, const QLocale& locale) {
    const QList<PeriodCloseMaterial> unbacked = MaterialLists::unbacked(visible);
    QSet<QString> unbackedKeys;
    for (const PeriodCloseMaterial& row : unbacked) {
        unbackedKeys.insert(row.lineKey);
    }
    QVariantList rows;
    for (const PeriodCloseMaterial& row : visible) {
        rows << QVariantMap{{QStringLiteral("key"), row.lineKey},
                            {QStringLiteral("date"), dateText(row.date, locale)},
                            {QStringLiteral("name"), nameOf(row)},
                            {QStringLiteral("amount"), amountText(row, locale)},
                            {QStringLiteral("category"), trimmed(row.category)},
                            {QStringLiteral("evidence"), evidenceText(row)},
                            {QStringLiteral("unbacked"), unbackedKeys.contains(row.lineKey)}};
    }
    return rows;
}

QVariantList candidateRows(const QList<PeriodCloseMaterial>& candidates, const QLocale& locale) {
    QVariantList rows;
    for (const PeriodCloseMaterial& row : candidates) {
        const QString date = dateText(row.date, locale);
        rows << QVariantMap{
            {QStringLiteral("key"), row.lineKey},
            {QStringLiteral("date"), date.isEmpty() ? QStringLiteral("No date") : date},
            {QStringLiteral("name"), nameOf(row)},
            {QStringLiteral("amount"), amountText(row, locale)},
            {QStringLiteral("why"), trimmed(row.why)},
            {QStringLiteral("source"),
             trimmed(row.source).isEmpty()
                 ? QString()
                 : LetterDocument::provenance(row.source, row.status).label()},
            {QStringLiteral("evidence"), evidenceText(row)}};
    }
    return rows;
}

QStringList totals(const QList<PeriodCloseMaterial>& visible, const QLocale& locale) {
    QStringList order;
    QHash<QString, double> sums;
    for (const PeriodCloseMaterial& row : visible) {
        if (!row.amount) {
            continue;
        }
        const QString currency = currencyOf(row);
        if (!sums.contains(currency)) {
            order << currency;
        }
        sums[currency] += *row.amount;
    }
    QStringList texts;
    for (const QString& currency : order) {
        PeriodCloseMaterial sum;
        sum.amount = sums.value(currency);
        sum.currency = currency;
        texts << amountText(sum, locale);
    }
    return texts;
}

RunFacts::Facts facts(const std::optional<PeriodCloseRun>& run,
                      const QList<PeriodCloseMaterial>& materials) {
    RunFacts::Facts facts;
    if (run) {
        facts.days = RunFacts::days(run->startedAt, run->updatedAt);
    }
    QSet<QString> questions;
    for (const PeriodCloseMaterial& row : materials) {
        if (!trimmed(row.questionSlug).isEmpty()) {
            questions.insert(trimmed(row.questionSlug));
        }
        if (row.standing() == PeriodCloseMaterial::Standing::excluded) {
            ++facts.droppedCandidates;
        }
    }
    facts.questionsAsked = static_cast<int>(questions.size());
    for (const PeriodCloseMaterial& row : MaterialLists::visible(materials)) {
        facts.transactions += row.isKind(PeriodCloseMaterial::transactionKind) ? 1 : 0;
        facts.foundInPhotos += trimmed(row.photoUUID).isEmpty() ? 0 : 1;
    }
    for (const PeriodCloseMaterial& row : MaterialLists::unbacked(materials)) {
        facts.unbacked << nameOf(row);
    }
    facts.missingEvidence = static_cast<int>(facts.unbacked.size());
    return facts;
}

QString factsLine(const RunFacts::Facts& facts) {
    const auto counted = [](int n, const char* one, const char* many) {
        return QStringLiteral("%1 %2").arg(n).arg(QString::fromUtf8(n == 1 ? one : many));
    };
    QStringList parts;
    if (facts.days) {
        parts << QStringLiteral("Took ") + counted(*facts.days, "day", "days");
    }
    if (facts.transactions > 0) {
        QString part = counted(facts.transactions, "transaction", "transactions");
        if (facts.foundInPhotos > 0) {
            part += QStringLiteral(", %1 backed by your photos").arg(facts.foundInPhotos);
        }
        parts << part;
    }
    if (facts.questionsAsked > 0) {
        parts << counted(facts.questionsAsked, "question asked", "questions asked");
    }
    return parts.join(QStringLiteral(" · "));
}

} // namespace mnemora::CloseRows
