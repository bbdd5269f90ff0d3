#include <gtest/gtest.h>

#include <QTimeZone>

#include "periodclose/QuotaPause.h"
#include "periodclose/QuotaWatcher.h"
#include "periodclose/RunInterruption.h"
#include "periodclose/RunLiveness.h"
#include "support/QtPrinters.h"

using namespace mnemora;

namespace {

const QLocale english(QLocale::English, QLocale::UnitedStates);
// An hour east of UTC, so that a UTC day and the local day part at 23:00 UTC.
const QTimeZone zone(3600);

QDateTime utc(int day, int hour, int minute = 0) {
    return QDateTime(QDate(2026, 10, day), QTime(hour, minute), QTimeZone::utc());
}

} // namespace

TEST(QuotaPauseTest, KeysAnEpisodeBySessionAndResetSecond) {
    EXPECT_EQ((QuotaPause::Episode{"tallo-dreamer-close-1", utc(24, 14, 30)}.key()),
              "tallo-dreamer-close-1|1792852200");
    EXPECT_EQ((QuotaPause::Episode{"mn-dreamer-a-2", std::nullopt}.key()),
              "mn-dreamer-a-2|unknown");
}

TEST(QuotaPauseTest, ShowsTheEarliestResetWithUnknownLast) {
    using QuotaPause::Episode;
    const struct {
        const char* name;
        QList<Episode> episodes;
        std::optional<Episode> shown;
    } cases[] = {
        {"none", {}, std::nullopt},
        {"earlier wins", {{"a", utc(25, 9)}, {"b", utc(24, 9)}}, Episode{"b", utc(24, 9)}},
        {"unknown is the far future",
         {{"a", std::nullopt}, {"b", utc(30, 9)}},
         Episode{"b", utc(30, 9)}},
        {"a tie keeps the first", {{"a", utc(24, 9)}, {"b", utc(24, 9)}}, Episode{"a", utc(24, 9)}},
        {"only unknown", {{"a", std::nullopt}, {"b", std::nullopt}}, Episode{"a", std::nullopt}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(QuotaPause::shown(row.episodes), row.shown);
    }
}

TEST(QuotaPauseTest, MakesOneEpisodePerLimitInSessionOrder) {
    const QHash<QString, SessionLimit> limits{
        {"b", {"b", "limit", utc(24, 9)}},
        {"a", {"a", "limit", std::nullopt}},
    };
    EXPECT_EQ(QuotaPause::episodes(limits),
              (QList<QuotaPause::Episode>{{"a", std::nullopt}, {"b", utc(24, 9)}}));
}

TEST(QuotaPauseTest, SaysWhenItResumes) {
    const QDateTime now = utc(23, 9);
    const struct {
        const char* name;
        std::optional<QDateTime> resetsAt;
        QDateTime now;
        QString headline;
        QString body;
    } cases[] = {
        {"later today", utc(23, 14, 30), now, "Paused until about 3:30 PM",
         "Tallo hit its usage limit and paused. It resumes by itself around 3:30 PM — nothing "
         "for you to do."},
        {"tomorrow", utc(24, 14, 30), now, "Paused until about 10/24/26 3:30 PM",
         "Tallo hit its usage limit and paused. It resumes by itself around Oct 24, 2026 3:30 PM "
         "— nothing for you to do."},
        {"the same UTC day is the next local day", utc(23, 23, 30), utc(23, 22, 30),
         "Paused until about 10/24/26 12:30 AM",
         "Tallo hit its usage limit and paused. It resumes by itself around Oct 24, 2026 12:30 AM "
         "— nothing for you to do."},
        {"in the past", utc(23, 8), now, "Paused — waiting for AI capacity",
         "Tallo hit its usage limit and paused. It picks up by itself once the limit resets — "
         "nothing for you to do."},
        {"right now", now, now, "Paused — waiting for AI capacity",
         "Tallo hit its usage limit and paused. It picks up by itself once the limit resets — "
         "nothing for you to do."},
        {"unknown", std::nullopt, now, "Paused — waiting for AI capacity",
         "Tallo hit its usage limit and paused. It picks up by itself once the limit resets — "
         "nothing for you to do."},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(QuotaPause::headline(row.resetsAt, row.now, english, zone), row.headline);
        EXPECT_EQ(QuotaPause::notificationBody(row.resetsAt, row.now, "Tallo", english, zone),
                  row.body);
    }
}

TEST(RunInterruptionTest, ARunningCloseWithoutASessionIsCutOff) {
    using RunInterruption::Episode;
    using RunInterruption::Run;
    const QList<Run> runs{{"2026-10", "running", "matching receipts"},
                          {"2026-08", "sent", std::nullopt},
                          {"2026-09", "running", std::nullopt},
                          {"2026-07", "Running", std::nullopt},
                          {"2026-06", std::nullopt, std::nullopt}};
    const QList<Episode> cutOff{{"2026-09", std::nullopt}, {"2026-10", "matching receipts"}};
    EXPECT_EQ(RunInterruption::episodes(runs, false), cutOff);
    EXPECT_TRUE(RunInterruption::episodes(runs, true).isEmpty());
    EXPECT_EQ(RunInterruption::unannounced(cutOff, {"2026-09"}),
              (QList<Episode>{{"2026-10", "matching receipts"}}));
    EXPECT_EQ(RunInterruption::unannounced({cutOff[1], cutOff[0]}, {}), cutOff);
}

TEST(RunLivenessTest, TellsWorkingFromCutOff) {
    using RunLiveness::State;
    EXPECT_EQ(RunLiveness::state("running", "reading mail", true), State::working("reading mail"));
    EXPECT_EQ(RunLiveness::state("draft", "  ", true), State::working());
    EXPECT_EQ(RunLiveness::state("running", "reading mail", false), State::stopped());
    EXPECT_EQ(RunLiveness::state("sent", std::nullopt, false), State::idle());
    EXPECT_EQ(RunLiveness::state(std::nullopt, std::nullopt, false), State::idle());
}

TEST(RunLivenessTest, SaysOneLineForEachState) {
    using RunLiveness::State;
    const QString word = QStringLiteral("receipts ");
    const QString ninetySeven = word.repeated(11).left(97); // ends inside "receipts"
    const QString unbroken = QString(100, QLatin1Char('x'));
    // "é" written as "e" and a combining accent counts as one character.
    const QString accented = QString(95, QLatin1Char('a')) + QStringLiteral("e\u0301");
    const struct {
        const char* name;
        State state;
        QString text;
    } cases[] = {
        {"working with an activity", State::working("matching receipts"), "matching receipts"},
        {"working without one", State::working(), "Got it — going back in now."},
        {"idle", State::idle(), "Nothing running just now — nothing is waiting on one."},
        {"stopped", State::stopped(), "It stopped. Nothing it had already found is lost."},
        {"97 characters end at a word", State::working(ninetySeven),
         word.repeated(10).left(89).trimmed() + "…"},
        {"no space keeps 96 characters", State::working(unbroken), QString(96, 'x') + "…"},
        {"96 characters stay whole", State::working(accented), accented},
        {"97 with a combined character", State::working(accented + "b"), accented + "…"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(RunLiveness::text(row.state), row.text);
    }
}

TEST(QuotaWatcherAttentionTest, APauseHidesAnInterruption) {
    using Attention = QuotaWatcher::Attention;
    const QuotaPause::Episode pause{"tallo-dreamer-close-1", std::nullopt};
    const RunInterruption::Episode interrupted{"2026-10", std::nullopt};
    const Attention paused{"Paused — waiting for AI capacity",
                           "Nothing for you to do — it resumes by itself.", "hourglass", false,
                           std::nullopt};
    const Attention cutOff{"October 2026 — interrupted, press Resume",
                           "It stopped where it was — press Resume to pick it back up.",
                           "bolt.slash", true, std::nullopt};
    const QDateTime now = utc(23, 9);
    EXPECT_EQ(QuotaWatcher::attentionFor(pause, interrupted, now, english, zone), paused);
    EXPECT_EQ(QuotaWatcher::attentionFor(std::nullopt, interrupted, now, english, zone), cutOff);
    EXPECT_EQ(QuotaWatcher::attentionFor(std::nullopt, std::nullopt, now, english, zone),
              std::nullopt);
    EXPECT_EQ(QuotaWatcher::attentionFor(QuotaPause::Episode{"s", utc(23, 10)}, std::nullopt, now,
                                         english, zone)
                  ->title,
              "Paused until about 11:00 AM");
}
