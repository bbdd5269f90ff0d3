#include <gtest/gtest.h>

#include "ui/MenuBarStatus.h"
#include "ui/ScreenTexts.h"

using namespace mnemora;

namespace {

DaemonStatus connected(int pending, std::optional<int> age, bool processing = false,
                       bool transcribing = false) {
    DaemonStatus status;
    status.connection = DaemonStatus::Connection::connected();
    status.pendingItems = pending;
    status.heartbeatAgeSecs = age;
    status.processingActive = processing;
    status.transcriptionActive = transcribing;
    return status;
}

DaemonStatus disconnected(const QString& reason) {
    DaemonStatus status;
    status.connection = DaemonStatus::Connection::disconnected(reason);
    return status;
}

} // namespace

TEST(MenuBarStatus, TheTooltipSaysWhatTheDaemonDoesThenThePauseAndTheOpenQuestions) {
    struct Case {
        const char* name;
        DaemonStatus status;
        bool paused;
        int questions;
        const char* tooltip;
    };
    const Case cases[] = {
        {"not polled yet", DaemonStatus{}, false, 0, "Tallo — checking daemon…"},
        {"offline", disconnected("No daemon port file"), false, 0,
         "Tallo — daemon offline: No daemon port file"},
        {"600 s is not stalled yet", connected(1, 600), false, 0, "Tallo"},
        {"601 s is stalled", connected(1, 601), false, 0,
         "Tallo — worker stalled (601s ago), restarting…"},
        {"stalled outranks processing", connected(3, 900, true), false, 0,
         "Tallo — worker stalled (900s ago), restarting…"},
        {"a transcription stops the heartbeat", connected(1, 601, false, true), false, 0, "Tallo"},
        {"nothing waiting", connected(0, 601), false, 0, "Tallo"},
        {"no heartbeat reported", connected(1, std::nullopt), false, 0, "Tallo"},
        {"processing", connected(3, 5, true), false, 0, "Tallo — processing 3 items"},
        {"one open question", connected(0, 5), false, 1, "Tallo • 1 open question"},
        {"two open questions", connected(0, 5), false, 2, "Tallo • 2 open questions"},
        {"paused, then the questions", connected(3, 5, true), true, 2,
         "Tallo — processing 3 items • paused, waiting for AI capacity • 2 open questions"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(MenuBarStatus::tooltip("Tallo", c.status, c.paused, c.questions),
                  QString::fromUtf8(c.tooltip))
            << c.name;
    }
}

TEST(MenuBarStatus, AVaultsStatusLineIsQuietWhenAllIsWell) {
    struct Case {
        const char* name;
        DaemonStatus status;
        std::optional<QString> line;
    };
    const Case cases[] = {
        {"working on nothing counted", connected(0, 5, true), "Working"},
        {"working through items", connected(5, 5, true), "Working through 5 items"},
        {"stalled", connected(2, 700), "Stalled 700s ago — restarting"},
        {"idle", connected(0, 5), std::nullopt},
        {"not known yet", DaemonStatus{}, "Checking…"},
        {"down", disconnected("refused"), "Books isn't running"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(MenuBarStatus::statusLine(c.status, "Books"), c.line) << c.name;
    }
    EXPECT_EQ(ScreenTexts::daemonHeadline(connected(0, 5), "Books"), "Daemon running");
    EXPECT_EQ(ScreenTexts::daemonDetail(disconnected("refused"), DaemonMode::notStarted()),
              "refused");
}

TEST(MenuBarStatus, TheMenuLinesAndDaemonCommands) {
    DatabaseService::PendingCounts counts;
    EXPECT_TRUE(MenuBarStatus::pendingWorkLines(counts).isEmpty());
    counts.voiceMemosPendingAudio = 3;
    counts.photosPendingVisual = 1;
    counts.audioFailed = 2;
    counts.visualFailed = 1;
    EXPECT_EQ(MenuBarStatus::pendingWorkLines(counts),
              (QStringList{"3 voice memos pending", "1 photos awaiting caption",
                           "3 failed — retry from Processing"}));
    counts.videosPendingAudio = 4;
    EXPECT_EQ(MenuBarStatus::pendingWorkLines(counts).at(1), "4 video soundtracks pending");

    QStringList commands;
    for (MenuBarStatus::DaemonLifecycleAction action : MenuBarStatus::kDaemonLifecycleActions) {
        commands << MenuBarStatus::daemonCommandTitle(action, "Tallo");
    }
    EXPECT_EQ(commands, (QStringList{"Start the daemon for Tallo", "Stop the daemon for Tallo",
                                     "Restart the daemon for Tallo"}));
    EXPECT_EQ(MenuBarStatus::revealLogTitle("Tallo"), "Reveal Tallo's daemon log");

    EXPECT_EQ(MenuBarStatus::modeLine(DaemonMode::attachedExternal()),
              "Attached to a daemon this app didn't start — managed out of band");
    EXPECT_EQ(MenuBarStatus::modeLine(DaemonMode::failed("no binary")), "Failed: no binary");
    EXPECT_EQ(MenuBarStatus::modeLine(DaemonMode::spawnedChild(42)), std::nullopt);
    EXPECT_EQ(MenuBarStatus::otherVaultRow("Books", false), "Books — not running");
    EXPECT_EQ(MenuBarStatus::otherVaultRow("Books", true), "Books");
}
