#include <QDir>
#include <QUrlQuery>

#include <gtest/gtest.h>

#include "daemon/FakeDaemonFixture.h"
#include "support/EventLoop.h"
#include "support/QtPrinters.h"
#include "voice/AnswerControlModel.h"
#include "voice/FakeRecorder.h"

namespace mnemora {
namespace {

using test::FakeRecorder;
using test::HttpServer;
using test::waitUntil;

// An answer control over a fake microphone, talking to an in-process daemon that stores every
// upload as `/tmp/clip-{n}.m4a` and streams the progress events the test sends.
class AnswerControlTest : public test::FakeDaemonFixture {
protected:
    void SetUp() override {
        FakeDaemonFixture::SetUp();
        AudioRecorder::setFactory([this] {
            auto made = std::make_unique<FakeRecorder>();
            mic = made.get();
            return made;
        });
        server.setHandler([this](const HttpServer::Request& request) {
            if (request.path.startsWith("/transcriptions/record")) {
                ++uploads;
                return HttpServer::json(R"({"ok": true, "file_path": "/tmp/clip-)" +
                                        QByteArray::number(uploads) + R"(.m4a"})");
            }
            HttpServer::Response stream;
            stream.stream = true;
            stream.contentType = "text/event-stream";
            return stream;
        });
        pointAt(server);
        control = std::make_unique<AnswerControlModel>();
        control->setDaemon(&daemon);
        control->setClipFolder(env.root() + QStringLiteral("/clips"));
        QObject::connect(control.get(), &AnswerControlModel::clipSaved,
                         [this](const QString& path, int) { saved << path; });
    }
    void TearDown() override {
        control.reset();
        AudioRecorder::setFactory({});
        FakeDaemonFixture::TearDown();
    }

    // One press with the mic hearing `level`, released after a second.
    void speak(double level) {
        control->holder()->setClock([this] { return now; });
        control->holder()->press();
        mic->meterAt(level);
        control->holder()->sampleLevel();
        now = now.addSecs(1);
        control->holder()->release();
    }

    void sendStatus(const char* file, const char* status, const char* text = "") {
        server.sendToStreams(
            QByteArray(R"(data: {"event": "asset-status-updated", "payload": {"file_path": ")") +
            file + R"(", "status": ")" + status + R"(", "partial_text": ")" + text + "\"}}\n\n");
    }

    HttpServer server;
    FakeRecorder* mic = nullptr;
    std::unique_ptr<AnswerControlModel> control;
    int uploads = 0;
    QStringList saved;
    QDateTime now = QDateTime::currentDateTimeUtc();
};

TEST_F(AnswerControlTest, AClipIsUploadedFollowedToDoneAndItsWordsJoinTheField) {
    control->setText(QStringLiteral("no"));
    speak(0.5);
    ASSERT_TRUE(waitUntil([&] { return server.openStreamCount() == 1; }));
    EXPECT_TRUE(control->transcribing());
    EXPECT_EQ(control->state().phase.kind, AnswerPhase::Kind::transcribing);

    const HttpServer::Request& upload = server.requests().first();
    EXPECT_EQ(upload.method, "POST");
    const QUrl sent(QString::fromUtf8(upload.path));
    EXPECT_EQ(sent.path(), QStringLiteral("/transcriptions/record"));
    EXPECT_EQ(QUrlQuery(sent).queryItems(),
              (QList<std::pair<QString, QString>>{
                  {QStringLiteral("ext"), QStringLiteral("m4a")},
                  {QStringLiteral("ephemeral"), QStringLiteral("true")}}));
    EXPECT_EQ(upload.headers.value("content-type"), "application/octet-stream");
    EXPECT_EQ(upload.body, QByteArray("clip-bytes"));
    EXPECT_EQ(server.requests().at(1).headers.value("accept"), "text/event-stream");

    // Another file's end, even "done", is not ours.
    sendStatus("/tmp/other.m4a", "done", "wrong words");
    sendStatus("/tmp/clip-1.m4a", "processing");
    sendStatus("/tmp/clip-1.m4a", "done", " yes ");
    ASSERT_TRUE(waitUntil([&] { return !control->transcribing(); }));
    EXPECT_EQ(control->text(), QStringLiteral("no yes"));
    EXPECT_EQ(control->notice(), std::nullopt);
    EXPECT_FALSE(control->lastClip());
    EXPECT_TRUE(control->focused());
    ASSERT_EQ(saved.size(), 1);
    EXPECT_EQ(test::TestEnvironment::readFile(saved.first()), QByteArray("clip-bytes"));
}

TEST_F(AnswerControlTest, SilenceIsKeptForRetryButNeverSentUntilRetried) {
    speak(0.01);
    EXPECT_EQ(control->notice(), AnswerNotice::nothingHeard);
    EXPECT_EQ(saved.size(), 1);
    EXPECT_TRUE(control->canRetry());
    EXPECT_EQ(control->prompt(), QStringLiteral("I didn't catch anything — is the mic muted?"));
    EXPECT_EQ(uploads, 0);

    control->retry();
    ASSERT_TRUE(waitUntil([&] { return server.openStreamCount() == 1; }));
    EXPECT_EQ(uploads, 1);
    // Only blanks came back: nothing heard, and the clip stays.
    sendStatus("/tmp/clip-1.m4a", "done", "  ");
    ASSERT_TRUE(waitUntil([&] { return !control->transcribing(); }));
    EXPECT_EQ(control->notice(), AnswerNotice::nothingHeard);
    EXPECT_TRUE(control->lastClip());
    EXPECT_EQ(control->text(), QString());

    // Typing clears the notice, and an empty field shows the control's own placeholder.
    control->setPlaceholder(QStringLiteral("Your reason"));
    control->setText(QStringLiteral("x"));
    control->setText(QString());
    EXPECT_EQ(control->notice(), std::nullopt);
    EXPECT_EQ(control->prompt(), QStringLiteral("Your reason"));
}

TEST_F(AnswerControlTest, AFailedTranscriptionReportsTheClipAndOffersRetry) {
    QList<int> unreadable;
    QObject::connect(control.get(), &AnswerControlModel::unreadableClip,
                     [&](int seconds) { unreadable << seconds; });
    speak(0.5);
    ASSERT_TRUE(waitUntil([&] { return server.openStreamCount() == 1; }));
    // A press while transcribing does nothing at all.
    int reached = 0;
    QObject::connect(control.get(), &AnswerControlModel::reachedForMic, [&] { ++reached; });
    control->holder()->press();
    EXPECT_EQ(reached, 0);
    sendStatus("/tmp/clip-1.m4a", "failed");
    ASSERT_TRUE(waitUntil([&] { return !control->transcribing(); }));
    EXPECT_EQ(control->notice(), AnswerNotice::transcriptionFailed);
    EXPECT_EQ(unreadable, QList<int>{2});
    EXPECT_TRUE(control->canRetry());
}

TEST_F(AnswerControlTest, AQuickPressSaysTooQuick) {
    control->holder()->press();
    control->holder()->release();
    EXPECT_EQ(control->notice(), AnswerNotice::tooQuick);
    EXPECT_EQ(control->prompt(), QStringLiteral("Too quick — hold the mic down while you speak"));
    EXPECT_EQ(uploads, 0);
}

} // namespace
} // namespace mnemora
