#pragma once

#include <QString>

#include <optional>
#include <utility>
#include <variant>

namespace mnemora {

// Why an operation failed, in the words the user is shown.
struct Failure {
    QString words;

    bool operator==(const Failure&) const = default;
};

inline Failure fail(QString words) {
    return Failure{std::move(words)};
}

// The one result shape of every service: the value, or the product's words for why there is
// none. Services hand failures back in it and never throw at their callers.
template <typename T> class [[nodiscard]] Expected {
public:
    // A default value, for the places that must build one before they know the outcome.
    Expected() = default;
    Expected(T value)
        : state_(std::in_place_index<0>, std::move(value)) {}
    Expected(Failure failure)
        : state_(std::in_place_index<1>, std::move(failure)) {}

    bool ok() const { return state_.index() == 0; }
    explicit operator bool() const { return ok(); }

    // Only on success.
    const T& value() const& { return std::get<0>(state_); }
    T& value() & { return std::get<0>(state_); }
    T&& value() && { return std::get<0>(std::move(state_)); }
    const T& operator*() const& { return value(); }
    const T* operator->() const { return &value(); }

    T valueOr(T fallback) const { return ok() ? value() : std::move(fallback); }
    std::optional<T> optional() const { return ok() ? std::optional<T>(value()) : std::nullopt; }

    // The failure's words; empty on success.
    QString error() const { return ok() ? QString() : std::get<1>(state_).words; }

    bool operator==(const Expected&) const = default;

private:
    std::variant<T, Failure> state_;
};

// An operation with nothing to give back but whether it worked.
template <> class [[nodiscard]] Expected<void> {
public:
    Expected() = default;
    Expected(Failure failure)
        : failure_(std::move(failure)) {}

    bool ok() const { return !failure_; }
    explicit operator bool() const { return ok(); }
    QString error() const { return failure_ ? failure_->words : QString(); }

    bool operator==(const Expected&) const = default;

private:
    std::optional<Failure> failure_;
};

} // namespace mnemora
