#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QJsonObject>
#include <QPointer>
#include <QUrl>

#include <QCoroTask>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

#include "app/Network.h"

class QNetworkReply;

namespace mnemora {

// The one reader of the daemon's server-sent event streams, shared by every consumer (progress,
// transcription, migrations). A line counts only if it begins with "data:"; the rest of it,
// trimmed, must be a JSON object. Anything else is skipped and the stream goes on.
class EventStreamReader {
public:
    enum class Next { keepReading, stop };
    using Handler = std::function<Next(const QJsonObject&)>;

    struct Request {
        QByteArray method = "GET";
        QUrl url;
        QByteArray body;
        QByteArray contentType;
        std::chrono::milliseconds timeout{0}; // longest silence; none when zero
    };

    // The object a line carries, absent for any other line.
    static std::optional<QJsonObject> parseLine(QByteArrayView line);

    EventStreamReader();
    // Ends a read in flight.
    ~EventStreamReader();

    EventStreamReader(const EventStreamReader&) = delete;
    EventStreamReader& operator=(const EventStreamReader&) = delete;

    // Opens the stream and hands every object to `handler` as its line arrives, until the peer
    // ends the stream, the connection fails, `handler` says stop or `abort()` is called. The
    // reply tells how it ended; the body of a non-200 answer is kept for its error. The reader
    // may go away while this runs.
    QCoro::Task<HttpReply> read(Request request, Handler handler);

    // Ends the read in flight, if any; its reply then carries a transport error.
    void abort();
    bool isReading() const;

private:
    struct State;
    static QCoro::Task<HttpReply> readWith(std::shared_ptr<State> state, Request request,
                                           Handler handler);

    std::shared_ptr<State> state_;
};

} // namespace mnemora
