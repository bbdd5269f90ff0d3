#include <gtest/gtest.h>

#include "daemon/ProcessingScreen.h"

namespace mnemora {
namespace {

using namespace ProcessingScreen;

Completion skipped(const char* reason) {
    Completion completion;
    completion.outcome = QStringLiteral("skipped");
    completion.reason = QString::fromUtf8(reason);
    return completion;
}

TEST(ProcessingScreen, SkipReasonsSortIntoTheFirstMatchingCategory) {
    const std::pair<const char*, SkipCategory> cases[] = {
        {"VLM: Ollama not available at :21434", SkipCategory::ollamaDown},
        {"model qwen is STILL DOWNLOADING", SkipCategory::modelDownloading},
        {"Failed to fetch original", SkipCategory::icloudFetchFail},
        {"PHAsset not found: 1234", SkipCategory::icloudFetchFail},
        {"item no longer pending", SkipCategory::internalLock},
        {"row locked by worker 2", SkipCategory::internalLock},
        {"preempted by voice memo", SkipCategory::internalLock},
        // The first match wins over a later one in the same reason.
        {"ollama not available; asset locked", SkipCategory::ollamaDown},
        {"unsupported codec", SkipCategory::other},
        {"", SkipCategory::other},
    };
    for (const auto& [reason, category] : cases) {
        EXPECT_EQ(skipCategory(QString::fromUtf8(reason)), category) << reason;
    }
}

TEST(ProcessingScreen, TheLargestCategoryChoosesTheBanner) {
    const QString backend = QStringLiteral("SwiftLM");
    const QString model = QStringLiteral("qwen2.5-vl");
    Completion succeeded = skipped("ollama not available");
    succeeded.outcome = QStringLiteral("success");
    const struct {
        QList<Completion> recent;
        std::optional<Banner> expected;
    } cases[] = {
        {{}, std::nullopt},
        {{succeeded, succeeded}, std::nullopt},
        {{skipped("ollama not available"), skipped("ollama not available"), skipped("locked")},
         Banner{SkipCategory::ollamaDown, 2, QStringLiteral("Ollama sidecar isn't running"),
                QStringLiteral("2 recent VLM attempts skipped because :21434 didn't answer. "
                               "Restart the daemon to respawn the bundled sidecar."),
                BannerAction{QStringLiteral("Restart daemon"), QStringLiteral("arrow.clockwise"),
                             BannerAction::Perform::restartDaemon}}},
        {{skipped("still downloading"), succeeded},
         Banner{SkipCategory::modelDownloading, 1, QStringLiteral("VLM model isn't downloaded yet"),
                QStringLiteral("1 attempts skipped because SwiftLM doesn't have qwen2.5-vl "
                               "locally. Nothing downloads it automatically until you say so."),
                BannerAction{QStringLiteral("Download model"), QStringLiteral("arrow.down.circle"),
                             BannerAction::Perform::downloadModel}}},
        {{skipped("locked"), skipped("preempted"), skipped("other"), skipped("x")},
         // A tie goes to the category listed first.
         Banner{SkipCategory::internalLock, 2, QStringLiteral("Assets stuck on a retry lock"),
                QStringLiteral("2 items hit an internal retry lock. Restart the daemon to clear."),
                BannerAction{QStringLiteral("Restart daemon"), QStringLiteral("arrow.clockwise"),
                             BannerAction::Perform::restartDaemon}}},
        {{skipped("codec"),
          Completion{{}, {}, {}, {}, {}, 0, QStringLiteral("skipped"), {}, {}, {}, {}}},
         Banner{SkipCategory::other, 2, QStringLiteral("Many items are being skipped"),
                QStringLiteral("2 items skipped. Check recent rows below for reasons, or disable "
                               "the affected pipeline."),
                std::nullopt}},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(banner(c.recent, backend, model), c.expected);
    }

    const auto icloud = banner({skipped("asset not found")}, backend, model);
    ASSERT_TRUE(icloud);
    EXPECT_EQ(icloud->title, QStringLiteral("Photos can't fetch originals from iCloud"));
    EXPECT_TRUE(icloud->text.startsWith(QStringLiteral(
        "1 photos couldn't be fetched from PhotoKit. Most often this is because the markdown was "
        "created on a different Mac and the local PHAsset UUID doesn't exist on this machine")));
    ASSERT_TRUE(icloud->action);
    EXPECT_EQ(icloud->action->title, QStringLiteral("Disable VLM processing"));
    EXPECT_EQ(icloud->action->perform, BannerAction::Perform::disableVlmProcessing);
}

TEST(ProcessingScreen, SwiftLmNoteOnlyWhileThePullShowsNoNumbers) {
    const VlmPullProgress silent{QStringLiteral("vlm-swiftlm"),
                                 QStringLiteral("qwen2.5-vl"),
                                 QStringLiteral("downloading"),
                                 0,
                                 0,
                                 0};
    EXPECT_EQ(swiftLmNote(silent),
              QStringLiteral("Downloading/loading qwen2.5-vl via SwiftLM — no live progress "
                             "available for this backend; this can take a few minutes."));
    VlmPullProgress counting = silent;
    counting.total = 100;
    EXPECT_EQ(swiftLmNote(counting), std::nullopt);
    VlmPullProgress ollama = silent;
    ollama.kind = QStringLiteral("ollama");
    EXPECT_EQ(swiftLmNote(ollama), std::nullopt);
    EXPECT_EQ(swiftLmNote(std::nullopt), std::nullopt);
}

TEST(ProcessingScreen, DaemonRowsTellHowTheDaemonIsHeld) {
    EXPECT_TRUE(daemonRowText(DaemonMode::spawnedChild(42))
                    .startsWith(QStringLiteral("Spawned by this app (pid 42) — supervised by")));
    EXPECT_TRUE(daemonRowText(DaemonMode::adopted(7))
                    .startsWith(QStringLiteral("Adopted an orphaned daemon from a prior")));
    EXPECT_TRUE(daemonRowText(DaemonMode::adopted(7)).contains(QStringLiteral("pid 7")));
    EXPECT_EQ(daemonRowText(DaemonMode::attachedExternal()),
              QStringLiteral("Attached to an externally-managed daemon"));
    EXPECT_EQ(daemonRowText(DaemonMode::failed(QStringLiteral("no binary"))),
              QStringLiteral("The daemon could not be started: no binary"));
    EXPECT_EQ(daemonControlsDisabledNote(DaemonMode::attachedExternal()),
              QStringLiteral("Daemon is externally managed."));
    EXPECT_EQ(daemonControlsDisabledNote(DaemonMode::spawnedChild(42)), std::nullopt);
}

TEST(ProcessingScreen, MaintenanceFailuresNameTheirJob) {
    const QString error = QStringLiteral("Connection refused");
    EXPECT_EQ(maintenanceFailure(Maintenance::retry, error),
              QStringLiteral("Retry request failed: Connection refused"));
    EXPECT_EQ(maintenanceFailure(Maintenance::entityGeneration, error),
              QStringLiteral("Entity generation request failed: Connection refused"));
    EXPECT_EQ(maintenanceFailure(Maintenance::indexRebuild, error),
              QStringLiteral("Index rebuild request failed: Connection refused"));
    EXPECT_EQ(maintenanceFailure(Maintenance::rescan, error),
              QStringLiteral("Re-scan request failed: Connection refused"));
}

} // namespace
} // namespace mnemora
