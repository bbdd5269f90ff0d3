#include <QJsonDocument>

#include <gtest/gtest.h>

#include "daemon/EventLineSplitter.h"
#include "daemon/EventStreamReader.h"
#include "support/EventLoop.h"
#include "support/HttpServer.h"
#include "support/StdoutCapture.h"

namespace mnemora {
namespace {

using test::HttpServer;
using test::waitUntil;
using Next = EventStreamReader::Next;

QJsonObject object(const char* json) {
    return QJsonDocument::fromJson(json).object();
}

TEST(EventStreamReader, OnlyDataLinesWithAJsonObjectCount) {
    const struct {
        QByteArray line;
        std::optional<QJsonObject> expected;
    } cases[] = {
        {R"(data: {"event": "x"})", object(R"({"event": "x"})")},
        {"data:{\"a\":1}  \r", object(R"({"a": 1})")},
        {"data:\t {}", QJsonObject()},
        {"data: not json", std::nullopt},
        {"data: [1, 2]", std::nullopt},
        {"data:", std::nullopt},
        {R"( data: {"a": 1})", std::nullopt},
        {R"(Data: {"a": 1})", std::nullopt},
        {"event: progress", std::nullopt},
        {": keep-alive", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(EventStreamReader::parseLine(c.line), c.expected) << c.line.constData();
    }
}

TEST(EventLineSplitter, EndsLinesAtCrLfOrCrlfAndDropsLinesOverItsLimit) {
    const struct {
        QList<QByteArray> chunks;
        QList<QByteArray> lines;
    } cases[] = {
        {{"a\nb\rc\r\nd"}, {"a", "b", "c", "d"}},
        {{"a\r", "\nb\n"}, {"a", "b"}}, // a CRLF cut in two is one line end
        {{"a\r", "", "\nb"}, {"a", "b"}},
        {{"a\r", "\r\n"}, {"a", ""}},
        {{"\r\n\n\r"}, {"", "", ""}},
        {{"da", "ta", ": x\r"}, {"data: x"}},
        {{"12345678\n"}, {"12345678"}}, // at the limit
        {{"123456789\nok\n"}, {"ok"}},
        {{"12345", "6789", "0\r", "\nok"}, {"ok"}},
        {{"12345", "6789\nok"}, {"ok"}},
    };
    for (const auto& c : cases) {
        EventLineSplitter splitter(8);
        QList<QByteArray> lines;
        const EventLineSplitter::LineHandler collect = [&](QByteArrayView line) {
            lines << line.toByteArray();
            return true;
        };
        for (const QByteArray& chunk : c.chunks) {
            EXPECT_TRUE(splitter.feed(chunk, collect));
            EXPECT_LE(splitter.buffered(), 8);
        }
        splitter.finish(collect);
        EXPECT_EQ(lines, c.lines) << c.chunks.join('|').toStdString();
    }
}

TEST(EventLineSplitter, SaysOnceWhenItDropsALine) {
    EventLineSplitter splitter(4);
    test::StdoutCapture output;
    const EventLineSplitter::LineHandler ignore = [](QByteArrayView) { return true; };
    for (const char* chunk : {"12", "345", "6789", "\nok\n"}) {
        splitter.feed(chunk, ignore);
    }
    EXPECT_EQ(
        output.linesStartingWith(QStringLiteral("[EventStreamReader]")),
        QStringList{QStringLiteral("[EventStreamReader] dropped an event line longer than 16 MB")});
}

// A stream server that the test feeds by hand.
HttpServer::Response openStream(const HttpServer::Request&) {
    HttpServer::Response response;
    response.stream = true;
    return response;
}

EventStreamReader::Request progressAt(const HttpServer& server) {
    EventStreamReader::Request request;
    request.url = QUrl(server.baseUrl() + QStringLiteral("/progress"));
    return request;
}

// Reads in the background and records how the stream ended.
QCoro::Task<> readInto(EventStreamReader* reader, EventStreamReader::Request request,
                       EventStreamReader::Handler handler, std::optional<HttpReply>* ended) {
    QCoro::Task<HttpReply> reading = reader->read(std::move(request), std::move(handler));
    *ended = co_await reading;
}

TEST(EventStreamReader, ReadsLinesAcrossChunksUntilThePeerEndsTheStream) {
    HttpServer server(openStream);
    EventStreamReader reader;
    QList<int> seen;
    std::optional<HttpReply> ended;
    readInto(
        &reader, progressAt(server),
        [&](const QJsonObject& o) {
            seen << o.value(QLatin1String("n")).toInt();
            return Next::keepReading;
        },
        &ended);
    ASSERT_TRUE(waitUntil([&] { return server.openStreamCount() == 1; }));
    EXPECT_TRUE(reader.isReading());
    // Lines may end in CR, LF or CRLF, and a CRLF may be cut between two chunks.
    server.sendToStreams("data: {\"n\": 1}\r\rdata: not json\nevent: x\r\ndata: {\"n\"");
    ASSERT_TRUE(waitUntil([&] { return seen.size() == 1; }));
    server.sendToStreams(": 2}\r");
    ASSERT_TRUE(waitUntil([&] { return seen.size() == 2; }));
    server.sendToStreams("\ndata: {\"n\": 3}");
    EXPECT_FALSE(ended);
    server.closeStreams();
    ASSERT_TRUE(waitUntil([&] { return ended.has_value(); }));
    EXPECT_EQ(seen, (QList<int>{1, 2, 3})); // the last line needs no line feed
    EXPECT_EQ(ended->httpStatus, 200);
    EXPECT_FALSE(reader.isReading());
    const HttpServer::Request& request = server.requests().value(0);
    EXPECT_EQ(request.method, "GET");
    EXPECT_EQ(request.headers.value("accept"), "text/event-stream");
}

TEST(EventStreamReader, EndsWhenTheHandlerStopsOrTheOwnerAborts) {
    HttpServer server(openStream);
    EventStreamReader reader;
    QList<int> seen;
    const EventStreamReader::Handler stopAtTwo = [&](const QJsonObject& o) {
        seen << o.value(QLatin1String("n")).toInt();
        return seen.size() == 2 ? Next::stop : Next::keepReading;
    };
    std::optional<HttpReply> first;
    readInto(&reader, progressAt(server), stopAtTwo, &first);
    ASSERT_TRUE(waitUntil([&] { return server.openStreamCount() == 1; }));
    server.sendToStreams("data: {\"n\": 1}\ndata: {\"n\": 2}\ndata: {\"n\": 3}\n");
    ASSERT_TRUE(waitUntil([&] { return first.has_value(); }));
    EXPECT_EQ(seen, (QList<int>{1, 2}));

    std::optional<HttpReply> second;
    readInto(&reader, progressAt(server), stopAtTwo, &second);
    ASSERT_TRUE(waitUntil([&] { return server.requests().size() == 2; }));
    reader.abort();
    ASSERT_TRUE(waitUntil([&] { return second.has_value(); }));
    EXPECT_FALSE(reader.isReading());
    EXPECT_EQ(seen.size(), 2);
}

TEST(EventStreamReader, ARefusalKeepsItsBodyAndHandsNothingOn) {
    HttpServer server([](const HttpServer::Request&) {
        return HttpServer::json("data: {\"error\": \"busy\"}\n", 503);
    });
    EventStreamReader reader;
    int handled = 0;
    const HttpReply reply = test::runTask(reader.read(progressAt(server), [&](const QJsonObject&) {
        ++handled;
        return Next::keepReading;
    }));
    EXPECT_EQ(reply.httpStatus, 503);
    EXPECT_EQ(reply.body, "data: {\"error\": \"busy\"}\n");
    EXPECT_EQ(handled, 0);

    server.close();
    const HttpReply refused = test::runTask(
        reader.read(progressAt(server), [](const QJsonObject&) { return Next::keepReading; }));
    EXPECT_EQ(refused.transportError, QStringLiteral("Connection refused"));
}

} // namespace
} // namespace mnemora
