#include "daemon/EventStreamReader.h"

#include <QJsonDocument>
#include <QNetworkReply>

#include <QCoroNetworkReply>

#include "daemon/EventLineSplitter.h"

namespace mnemora {

struct EventStreamReader::State {
    QPointer<QNetworkReply> reply;
};

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
    auto splitter = std::make_shared<EventLineSplitter>();
    const EventLineSplitter::LineHandler onLine = [handler](QByteArrayView line) {
        const std::optional<QJsonObject> object = parseLine(line);
        return !object || handler(*object) == Next::keepReading;
    };
    QNetworkReply* raw = reply.get();
    // Lines are handed on as they arrive; a refusal's body stays in the reply for its error.
    QObject::connect(raw, &QNetworkReply::readyRead, raw, [raw, splitter, onLine] {
        if (raw->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt() != 200) {
            return;
        }
        if (!splitter->feed(raw->readAll(), onLine)) {
            QObject::disconnect(raw, &QNetworkReply::readyRead, nullptr, nullptr);
            raw->abort();
        }
    });
    co_await raw;
    HttpReply outcome = Network::outcome(*reply);
    if (outcome.httpStatus == 200) {
        // The stream's end is its last line's end.
        splitter->feed(outcome.body, onLine);
        splitter->finish(onLine);
        outcome.body.clear();
    }
    if (state->reply == raw) {
        state->reply = nullptr;
    }
    co_return outcome;
}

} // namespace mnemora
