#pragma once

#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace mnemora::core {

// An optional string the size of one pointer, for the many text fields of a block that are absent
// on nearly every line. std::optional<std::string> takes forty bytes whether it holds a value or
// not, which made a block over a kilobyte and a long document hundreds of megabytes; this holds
// the string on the heap when there is one.
//
// It reads and writes as std::optional<std::string> does (`has_value`, `*`, `->`, `value_or`,
// `emplace`, `reset`, comparison with a string, with `std::nullopt` and with another optional) and
// converts to and from it, so code written against the standard type keeps working. As with
// std::optional, an absent value differs from an empty one.
class OptionalString {
public:
    using value_type = std::string;

    OptionalString() noexcept = default;
    OptionalString(std::nullopt_t) noexcept {}
    OptionalString(std::string value)
        : value_(std::make_unique<std::string>(std::move(value))) {}
    OptionalString(const char* value)
        : OptionalString(std::string(value)) {}
    OptionalString(std::string_view value)
        : OptionalString(std::string(value)) {}
    OptionalString(const std::optional<std::string>& value) {
        if (value) {
            emplace(*value);
        }
    }
    OptionalString(std::optional<std::string>&& value) {
        if (value) {
            emplace(std::move(*value));
        }
    }

    OptionalString(const OptionalString& other)
        : value_(other.value_ ? std::make_unique<std::string>(*other.value_) : nullptr) {}
    OptionalString(OptionalString&&) noexcept = default;
    OptionalString& operator=(const OptionalString& other) {
        if (this != &other) {
            if (!other.value_) {
                value_.reset();
            } else if (value_) {
                *value_ = *other.value_; // keeps this string's buffer
            } else {
                value_ = std::make_unique<std::string>(*other.value_);
            }
        }
        return *this;
    }
    OptionalString& operator=(OptionalString&&) noexcept = default;
    ~OptionalString() = default;

    operator std::optional<std::string>() const {
        return value_ ? std::optional<std::string>(*value_) : std::nullopt;
    }

    bool has_value() const noexcept { return value_ != nullptr; }
    explicit operator bool() const noexcept { return has_value(); }

    // Like std::optional, these expect a value; `value()` throws std::bad_optional_access when
    // there is none.
    const std::string& operator*() const noexcept { return *value_; }
    std::string& operator*() noexcept { return *value_; }
    const std::string* operator->() const noexcept { return value_.get(); }
    std::string* operator->() noexcept { return value_.get(); }
    const std::string& value() const {
        if (!value_) {
            throw std::bad_optional_access();
        }
        return *value_;
    }
    std::string& value() {
        if (!value_) {
            throw std::bad_optional_access();
        }
        return *value_;
    }
    template <typename Fallback> std::string value_or(Fallback&& fallback) const {
        return value_ ? *value_ : std::string(std::forward<Fallback>(fallback));
    }

    template <typename... Args> std::string& emplace(Args&&... args) {
        value_ = std::make_unique<std::string>(std::forward<Args>(args)...);
        return *value_;
    }
    void reset() noexcept { value_.reset(); }

    friend bool operator==(const OptionalString& a, const OptionalString& b) {
        return a.value_ && b.value_ ? *a.value_ == *b.value_ : a.value_ == b.value_;
    }
    friend bool operator==(const OptionalString& a, const std::optional<std::string>& b) {
        return a.value_ && b ? *a.value_ == *b : a.has_value() == b.has_value();
    }
    friend bool operator==(const OptionalString& a, std::nullopt_t) noexcept { return !a.value_; }
    friend bool operator==(const OptionalString& a, std::string_view b) {
        return a.value_ && *a.value_ == b;
    }
    friend bool operator==(const OptionalString& a, const std::string& b) {
        return a.value_ && *a.value_ == b;
    }
    friend bool operator==(const OptionalString& a, const char* b) {
        return a.value_ && *a.value_ == b;
    }

    // For test failure messages: the quoted text, or "(absent)".
    friend void PrintTo(const OptionalString& value, std::ostream* out);

private:
    std::unique_ptr<std::string> value_;
};

} // namespace mnemora::core

template <> struct std::hash<mnemora::core::OptionalString> {
    std::size_t operator()(const mnemora::core::OptionalString& value) const noexcept {
        return value ? std::hash<std::string>{}(*value) : std::size_t{0x9e3779b97f4a7c15ULL};
    }
};
