#include "daemon/EventStreamReader.h"

#include <QJsonDocument>
#include <QNetworkReply>

#include <QCoroNetworkReply>

namespace mnemora {

struct EventStreamReader::State {
    QPointer<QNetworkReply> reply;
};

namespace {

// Splits what arrives into lines, keeping a partial line until its end comes.
class LineSplitter {
public:
    // Gives each complete line of `bytes` to `handler` until it says stop; false from then on.
    bool feed(const QByteArray& bytes, const EventStreamReader::Handler& handler) {
        if (stopped_) {
            return false;
        }
        pending_ += bytes;
        qsizetype start = 0;
        while (!stopped_) {
            const qsizetype end = pending_.indexOf('\n', start);
            if (end < 0) {
                break;
            }
            deliver(QByteArrayView(pending_).sliced(start, end - start), handler);
            start = end + 1;
        }
        pending_.remove(0, start);
        return !stopped_;
    }

    // The last line of a stream may come without its line feed.
    void finish(const EventStreamReader::Handler& handler) {
        if (!stopped_ && !pending_.isEmpty()) {
            deliver(pending_, handler);
            pending_.clear();
        }
    }

private:
    void deliver(QByteArrayView line, const EventStreamReader::Handler& handler) {
        if (const auto object = EventStreamReader::parseLine(line)) {
            stopped_ = handler(*object) == EventStreamReader::Next::stop;
        }
    }

    QByteArray pending_;
    bool stopped_ = false;
};

} // namespace

std::optional<QJsonObject> EventStreamReader::parseLine(QByteArrayView line) {
    if (!line.startsWith("data:")) {
        return std::nullopt;
    }
    const QByteArrayView data = line.sliced(5).trimmed();
    QJsonParseError parseError{};
    const QJsonDocument document =
        QJsonDocument::fromJson(QByteArray::fromRawData(data.data(), data.size()), &parseError);
    if (parseError.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    return document.object();
}

EventStreamReader::EventStreamReader()
    : state_(std::make_shared<State>()) {}

EventStreamReader::~EventStreamReader() {
    abort();
}

void EventStreamReader::abort() {
    if (state_->reply) {
        state_->reply->abort();
    }
}

bool EventStreamReader::isReading() const {
    return !state_->reply.isNull();
}

QCoro::Task<HttpReply> EventStreamReader::read(Request request, Handler handler) {
    // A new read replaces the one before; the state is shared with the coroutine so that the
    // reader may be destroyed while it waits.
    abort();
    return readWith(state_, std::move(request), std::move(handler));
}

QCoro::Task<HttpReply> EventStreamReader::readWith(std::shared_ptr<State> state, Request request,
                                                   Handler handler) {
    Network::ReplyHandle reply(Network::start(request.method, request.url, request.body,
                                              request.contentType, request.timeout,
                                              "text/event-stream"));
    state->reply = reply.get();
    auto splitter = std::make_shared<LineSplitter>();
    QNetworkReply* raw = reply.get();
    // Lines are handed on as they arrive; a refusal's body stays in the reply for its error.
    QObject::connect(raw, &QNetworkReply::readyRead, raw, [raw, splitter, handler] {
        if (raw->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() != 200) {
            return;
        }
        if (!splitter->feed(raw->readAll(), handler)) {
            QObject::disconnect(raw, &QNetworkReply::readyRead, nullptr, nullptr);
            raw->abort();
        }
    });
    co_await raw;
    HttpReply outcome = Network::outcome(*reply);
    if (outcome.httpStatus == 200) {
        // The stream's end is its last line's end.
        splitter->feed(outcome.body, handler);
        splitter->finish(handler);
        outcome.body.clear();
    }
    if (state->reply == raw) {
        state->reply = nullptr;
    }
    co_return outcome;
}

} // namespace mnemora
