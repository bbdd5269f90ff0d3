#include "daemon/EventLineSplitter.h"

#include "app/Log.h"

namespace mnemora {

namespace {

qsizetype lineEnd(QByteArrayView bytes, qsizetype from) {
    for (qsizetype i = from; i < bytes.size(); ++i) {
        if (bytes[i] == '\n' || bytes[i] == '\r') {
            return i;
        }
    }
    return -1;
}

} // namespace

EventLineSplitter::EventLineSplitter(qsizetype maxLineBytes)
    : maxLineBytes_(maxLineBytes) {}

bool EventLineSplitter::feed(QByteArrayView bytes, const LineHandler& onLine) {
    if (stopped_ || bytes.isEmpty()) {
        return !stopped_;
    }
    qsizetype from = 0;
    // The LF of a CRLF that was cut between two chunks ends no second line.
    if (afterCr_ && bytes.front() == '\n') {
        from = 1;
    }
    afterCr_ = false;
    while (!stopped_ && from < bytes.size()) {
        const qsizetype end = lineEnd(bytes, from);
        if (end < 0) {
            hold(bytes.sliced(from));
            break;
        }
        endLine(bytes.sliced(from, end - from), onLine);
        from = end + 1;
        if (bytes[end] == '\r') {
            if (from == bytes.size()) {
                afterCr_ = true;
            } else if (bytes[from] == '\n') {
                ++from;
            }
        }
    }
    return !stopped_;
}

void EventLineSplitter::finish(const LineHandler& onLine) {
    if (!stopped_ && !dropping_ && !pending_.isEmpty()) {
        deliver(pending_, onLine);
    }
    pending_.clear();
    dropping_ = false;
}

bool EventLineSplitter::fits(qsizetype more) {
    if (pending_.size() + more <= maxLineBytes_) {
        return true;
    }
    // A broken stream must not eat memory: the line goes, and reading goes on after its end.
    Log::line(QStringLiteral("EventStreamReader"),
              QStringLiteral("dropped an event line longer than 16 MB"));
    pending_.clear();
    pending_.squeeze();
    dropping_ = true;
    return false;
}

void EventLineSplitter::hold(QByteArrayView part) {
    if (!dropping_ && fits(part.size())) {
        pending_ += part;
    }
}

void EventLineSplitter::endLine(QByteArrayView rest, const LineHandler& onLine) {
    if (dropping_) {
        dropping_ = false;
        return;
    }
    if (!fits(rest.size())) {
        dropping_ = false; // the oversized line ends here
        return;
    }
    if (pending_.isEmpty()) {
        deliver(rest, onLine);
        return;
    }
    pending_ += rest;
    deliver(pending_, onLine);
    pending_.clear();
}

void EventLineSplitter::deliver(QByteArrayView line, const LineHandler& onLine) {
    stopped_ = !onLine(line);
}

} // namespace mnemora
