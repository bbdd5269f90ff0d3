#pragma once

#include <QString>

#include <optional>

namespace mnemora {

// Whether a close on screen truly works. The index keeps saying "running" after the agent session
// is gone, so the screens tell a working run from a cut-off one by the daemon's live sessions.
namespace RunLiveness {

struct State {
    enum class Kind { working, idle, stopped };

    Kind kind = Kind::idle;
    std::optional<QString> activity; // only while working

    static State working(std::optional<QString> activity = std::nullopt) {
        return {Kind::working, std::move(activity)};
    }
    static State idle() { return {Kind::idle, std::nullopt}; }
    static State stopped() { return {Kind::stopped, std::nullopt}; }

    bool operator==(const State&) const = default;
};

// The longest line a state shows, in user-perceived characters.
inline constexpr int textLimit = 96;

// A run with a live session works; a run still marked "running" without one was cut off; anything
// else waits for nothing.
State state(const std::optional<QString>& runStatus, const std::optional<QString>& activity,
            bool sessionAlive);

// The line for a state, cut at a word to `textLimit` characters.
QString text(const State& state);

// Longer than `limit` characters: the first `limit`, cut back to their last space and trimmed of
// spaces when they hold one, and "…" after them.
QString cutAtWord(const QString& text, int limit = textLimit);

} // namespace RunLiveness

} // namespace mnemora
