#include "periodclose/RunLiveness.h"

#include <QTextBoundaryFinder>

namespace mnemora::RunLiveness {

namespace {

// The code-unit offset where the `count`-th user-perceived character ends, or -1 when the text
// holds no more than `count` of them.
qsizetype graphemeEnd(const QString& text, int count) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    for (int seen = 0; seen < count; ++seen) {
        if (finder.toNextBoundary() < 0) {
            return -1;
        }
    }
    return finder.position() < text.size() ? finder.position() : -1;
}

QString trimSpaces(const QString& text) {
    qsizetype start = 0;
    qsizetype end = text.size();
    while (start < end && text[start] == QLatin1Char(' ')) {
        ++start;
    }
    while (end > start && text[end - 1] == QLatin1Char(' ')) {
        --end;
    }
    return text.mid(start, end - start);
}

} // namespace

State state(const std::optional<QString>& runStatus, const std::optional<QString>& activity,
            bool sessionAlive) {
    if (sessionAlive) {
        const bool hasActivity = activity && !activity->trimmed().isEmpty();
        return State::working(hasActivity ? activity : std::nullopt);
    }
    return runStatus == QLatin1String("running") ? State::stopped() : State::idle();
}

QString text(const State& state) {
    switch (state.kind) {
    case State::Kind::working:
        return cutAtWord(state.activity && !state.activity->trimmed().isEmpty()
                             ? *state.activity
                             : QStringLiteral("Got it — going back in now."));
    case State::Kind::idle:
        return cutAtWord(QStringLiteral("Nothing running just now — nothing is waiting on one."));
    case State::Kind::stopped:
        break;
    }
    return cutAtWord(QStringLiteral("It stopped. Nothing it had already found is lost."));
}

QString cutAtWord(const QString& text, int limit) {
    const qsizetype end = graphemeEnd(text, limit);
    if (end < 0) {
        return text;
    }
    QString head = text.left(end);
    if (const qsizetype space = head.lastIndexOf(QLatin1Char(' ')); space >= 0) {
        head = trimSpaces(head.left(space));
    }
    return head + QStringLiteral("…");
}

} // namespace mnemora::RunLiveness
