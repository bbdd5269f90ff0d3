#pragma once

#include <QByteArray>
#include <QByteArrayView>

#include <functional>

namespace mnemora {

// Cuts the bytes of an event stream into lines as they arrive, keeping a partial line until its
// end comes. A line ends in CR, LF or CRLF, even when a CRLF is cut between two chunks. A line
// longer than the limit is dropped whole, so that a broken stream cannot eat memory.
class EventLineSplitter {
public:
    // Gets each line without its end; false stops the splitting.
    using LineHandler = std::function<bool(QByteArrayView)>;

    static constexpr qsizetype defaultMaxLineBytes = qsizetype{16} << 20;

    explicit EventLineSplitter(qsizetype maxLineBytes = defaultMaxLineBytes);

    // Gives each complete line of `bytes` to `onLine` until it says stop; false from then on.
    bool feed(QByteArrayView bytes, const LineHandler& onLine);
    // The last line of a stream may come without its end.
    void finish(const LineHandler& onLine);
    // The bytes of the partial line held.
    qsizetype buffered() const { return pending_.size(); }

private:
    // Whether the held line may grow by `more` bytes; drops it when not.
    bool fits(qsizetype more);
    void hold(QByteArrayView part);
    void endLine(QByteArrayView rest, const LineHandler& onLine);
    void deliver(QByteArrayView line, const LineHandler& onLine);

    qsizetype maxLineBytes_;
    QByteArray pending_;
    bool afterCr_ = false;  // the last chunk ended in CR
    bool dropping_ = false; // the line now arriving is over the limit
    bool stopped_ = false;
};

} // namespace mnemora
