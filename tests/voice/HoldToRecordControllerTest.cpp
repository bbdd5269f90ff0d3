#include <gtest/gtest.h>

#include <QDir>
#include <QMouseEvent>
#include <QTimeZone>

#include "support/EventLoop.h"
#include "support/QtPrinters.h"
#include "voice/FakeRecorder.h"
#include "voice/HoldToRecordController.h"
#include "voice/QtAudioRecorder.h"

namespace mnemora {
namespace {

using test::FakeRecorder;

// A controller over a fake microphone and a clock the test moves.
struct Press {
    FakeRecorder* mic = new FakeRecorder;
    HoldToRecordController controller{std::unique_ptr<AudioRecorder>(mic)};
    QDateTime now = QDateTime::fromSecsSinceEpoch(1700000000, Qt::UTC);
    QList<RecordedClip> clips;
    int reached = 0;

    Press() {
        controller.setClock([this] { return now; });
        controller.onClip = [this](const RecordedClip& clip) { clips << clip; };
        controller.onReachedForMic = [this] { ++reached; };
    }
    void hold(int milliseconds) {
        controller.press();
        now = now.addMSecs(milliseconds);
        controller.release();
    }
};

TEST(HoldToRecordController, APressUnderTheMinimumIsThrownAwayAndOneAtItCounts) {
    Press shortPress;
    shortPress.hold(399);
    EXPECT_TRUE(shortPress.controller.lastPressWasTooShort());
    EXPECT_EQ(shortPress.mic->cancels, 1);
    EXPECT_TRUE(shortPress.clips.isEmpty());
    EXPECT_FALSE(shortPress.mic->isRecording());

    Press enough;
    enough.hold(400);
    ASSERT_TRUE(test::waitUntil([&] { return enough.clips.size() == 1; }));
    EXPECT_FALSE(enough.controller.lastPressWasTooShort());
    EXPECT_EQ(enough.clips.first().bytes, QByteArray("clip-bytes"));
    // The recorder's own duration, not the time held.
    EXPECT_EQ(enough.clips.first().durationSeconds, 1.5);
}

TEST(HoldToRecordController, ABusyControlRefusesThePressWithoutReachingForTheMic) {
    Press press;
    press.controller.isBusy = [] { return true; };
    press.controller.press();
    EXPECT_FALSE(press.controller.pressActive());
    EXPECT_FALSE(press.mic->isRecording());
    EXPECT_EQ(press.reached, 0);
}

TEST(HoldToRecordController, ADeniedOrUnansweredMicSaysSoAndRecordsNothing) {
    Press denied;
    denied.mic->status = MicStatus::denied;
    denied.controller.refreshStatus();
    EXPECT_TRUE(denied.controller.micBlocked());
    denied.hold(900);
    EXPECT_EQ(denied.reached, 1);
    EXPECT_EQ(denied.controller.permissionNotice(), AnswerNotice::micOff);
    EXPECT_EQ(denied.controller.permissionHint(),
              QStringLiteral("The mic is off — use Open Settings"));
    EXPECT_FALSE(denied.controller.pressActive());
    EXPECT_TRUE(denied.clips.isEmpty());

    Press pending;
    pending.mic->status = MicStatus::notDetermined;
    pending.controller.requestPermissionIfNeeded();
    pending.hold(900);
    EXPECT_EQ(pending.controller.permissionHint(),
              QStringLiteral("Answer the microphone prompt first"));
    // A later grant clears the notice without any press.
    pending.mic->status = MicStatus::authorized;
    ASSERT_TRUE(pending.mic->pendingAccess);
    pending.mic->pendingAccess(true);
    EXPECT_EQ(pending.controller.permissionNotice(), std::nullopt);
    EXPECT_EQ(pending.controller.permissionHint(), std::nullopt);
    EXPECT_EQ(pending.controller.micStatus(), MicStatus::authorized);
}

TEST(HoldToRecordController, KeepsTheTwelveNewestLevelsAndThePeakOfThePress) {
    Press press;
    press.controller.press();
    for (int i = 1; i <= 15; ++i) {
        press.mic->meterAt(i == 5 ? 0.9 : i / 100.0);
        press.controller.sampleLevel();
    }
    QList<double> newest;
    for (int i = 4; i <= 15; ++i) {
        newest << (i == 5 ? 0.9 : i / 100.0);
    }
    EXPECT_EQ(press.controller.levelHistory(), newest);
    EXPECT_EQ(press.controller.peakLevel(), 0.9);
    // A second press starts a fresh history.
    press.now = press.now.addSecs(1);
    press.controller.release();
    ASSERT_TRUE(test::waitUntil([&] { return press.clips.size() == 1; }));
    press.controller.press();
    EXPECT_TRUE(press.controller.levelHistory().isEmpty());
    EXPECT_EQ(press.controller.peakLevel(), 0.0);
}

TEST(HoldToRecordController, AReleaseAnywhereInTheApplicationEndsThePress) {
    Press press;
    press.controller.press();
    press.now = press.now.addSecs(1);
    QObject elsewhere;
    QMouseEvent up(QEvent::MouseButtonRelease, QPointF(), QPointF(), QPointF(), Qt::LeftButton,
                   Qt::NoButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&elsewhere, &up);
    ASSERT_TRUE(test::waitUntil([&] { return press.clips.size() == 1; }));
    EXPECT_FALSE(press.controller.pressActive());
}

TEST(HoldToRecordController, ARecorderThatRefusesGivesItsWordsAndNoClip) {
    Press press;
    press.mic->refuse = true;
    press.hold(900);
    EXPECT_EQ(press.mic->state(), AudioRecorder::State::error);
    EXPECT_EQ(press.mic->errorText(), QStringLiteral("QMediaRecorder refused to start"));
    EXPECT_TRUE(press.clips.isEmpty());
    EXPECT_FALSE(press.controller.lastPressWasTooShort());
}

} // namespace
} // namespace mnemora

namespace mnemora {
namespace {

// The real recorder on this machine: with no input device it must say so, never record a
// silent file or crash.
TEST(QtAudioRecorder, WithoutAMicrophoneThePressSaysTheMicIsOff) {
    if (QtAudioRecorder::inputDevice()) {
        GTEST_SKIP() << "this machine has an audio input";
    }
    HoldToRecordController controller(std::make_unique<QtAudioRecorder>());
    EXPECT_EQ(controller.micStatus(), MicStatus::denied);
    controller.press();
    EXPECT_EQ(controller.permissionHint(), QStringLiteral("The mic is off — use Open Settings"));
    EXPECT_FALSE(controller.recorder()->isRecording());
    controller.release();

    QtAudioRecorder recorder;
    recorder.start();
    EXPECT_EQ(recorder.state(), AudioRecorder::State::error);
    EXPECT_EQ(recorder.errorText(), QStringLiteral("No microphone is connected."));
    EXPECT_TRUE(QDir::temp().entryList({QStringLiteral("mn-rec-*.m4a")}).isEmpty());
}

} // namespace
} // namespace mnemora
