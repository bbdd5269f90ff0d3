#include <gtest/gtest.h>

#include "introspection/HttpRequest.h"
#include "introspection/HttpResponse.h"
#include "support/QtPrinters.h"

using namespace mnemora;

namespace {

using Parse = HttpRequest::Parse;

HttpRequest request(QString method, QString path, QMap<QString, QString> query,
                    QMap<QString, QString> headers, QByteArray body = {}) {
    return {std::move(method), std::move(path), std::move(query), std::move(headers),
            std::move(body)};
}

struct ParseCase {
    const char* name;
    QByteArray bytes;
    Parse expected;
};

} // namespace

TEST(HttpRequest, ParsesByTheRulesOfTheListener) {
    const QByteArray bigHead = "GET / HTTP/1.1\r\nX: " + QByteArray(70 * 1024, 'a');
    const ParseCase cases[] = {
        {"no blank line yet", "GET /health HTTP/1.1\r\nHost: x\r\n", HttpRequest::Incomplete{}},
        {"nothing at all", "", HttpRequest::Incomplete{}},
        {"plain", "GET /health HTTP/1.1\r\nHost: 127.0.0.1:1\r\n\r\n",
         request("GET", "/health", {}, {{"host", "127.0.0.1:1"}})},
        {"query decoded, item without '=', last key wins",
         "GET /state?a=b%20c&flag&vault=%2Fx&vault=%2Fy HTTP/1.1\r\n\r\n",
         request("GET", "/state", {{"a", "b c"}, {"flag", ""}, {"vault", "/y"}}, {})},
        {"header keys lower-cased and trimmed, line without ':' skipped",
         "GET / HTTP/1.1\r\n  X-Thing :  a: b  \r\nno colon here\r\n\r\n",
         request("GET", "/", {}, {{"x-thing", "a: b"}})},
        {"two parts are enough for a request line", "GET /\r\n\r\n", request("GET", "/", {}, {})},
        {"one part is not", "GET\r\n\r\n", HttpRequest::Refused{400, "malformed request line"}},
        {"invalid UTF-8 in the head", "GET /\xff\xfe HTTP/1.1\r\n\r\n",
         HttpRequest::Refused{400, "request head is not valid UTF-8"}},
        {"body exactly as long as announced",
         "POST /action HTTP/1.1\r\nContent-Length: 4\r\n\r\nabcd",
         request("POST", "/action", {}, {{"content-length", "4"}}, "abcd")},
        {"one byte short keeps waiting", "POST /action HTTP/1.1\r\nContent-Length: 4\r\n\r\nabc",
         HttpRequest::Incomplete{}},
        {"surplus bytes ignored", "POST / HTTP/1.1\r\nContent-Length: 2\r\n\r\nabcd",
         request("POST", "/", {}, {{"content-length", "2"}}, "ab")},
        {"no length, no body", "POST / HTTP/1.1\r\n\r\nabcd", request("POST", "/", {}, {})},
        {"a length that is no number counts as none",
         "POST / HTTP/1.1\r\nContent-Length: ten\r\n\r\nabcd",
         request("POST", "/", {}, {{"content-length", "ten"}})},
        {"a body over 8 MB is refused before it arrives",
         "POST / HTTP/1.1\r\nContent-Length: 8388609\r\n\r\n",
         HttpRequest::Refused{413, "request body too large (limit 8 MB)"}},
        {"a head over 64 KB is refused", bigHead,
         HttpRequest::Refused{431, "request head too large (limit 64 KB)"}},
    };
    for (const ParseCase& item : cases) {
        EXPECT_EQ(HttpRequest::parse(item.bytes), item.expected) << item.name;
    }
}

TEST(HttpRequest, ARequestSplitAcrossThreeReceivesIsWholeOnlyAtTheEnd) {
    const QByteArray whole = "POST /action HTTP/1.1\r\nContent-Length: 5\r\n\r\nhello";
    EXPECT_EQ(HttpRequest::parse(whole.left(10)), Parse(HttpRequest::Incomplete{}));
    EXPECT_EQ(HttpRequest::parse(whole.left(45)), Parse(HttpRequest::Incomplete{}));
    const Parse parsed = HttpRequest::parse(whole);
    ASSERT_TRUE(std::holds_alternative<HttpRequest>(parsed));
    EXPECT_EQ(std::get<HttpRequest>(parsed).body, "hello");
}

TEST(HttpResponse, WritesTheStatusLineLengthAndCloseOverGivenHeaders) {
    HttpResponse response{
        418, {{"X-A", "1"}, {"Content-Length", "99"}, {"connection", "keep"}}, "hey"};
    EXPECT_EQ(response.serialized(), "HTTP/1.1 418 Status\r\nX-A: 1\r\nContent-Length: 3\r\n"
                                     "Connection: close\r\n\r\nhey");
    EXPECT_EQ(HttpResponse::error(502, "down", {{"z", 1}, {"a", true}}).serialized(),
              "HTTP/1.1 502 Bad Gateway\r\nContent-Type: application/json\r\nContent-Length: "
              "31\r\nConnection: close\r\n\r\n{\"a\":true,\"error\":\"down\",\"z\":1}");
}
