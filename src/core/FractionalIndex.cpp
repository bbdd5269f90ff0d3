#include "core/FractionalIndex.h"

#include "core/FatalError.h"

#include <algorithm>
#include <cstdint>
#include <ostream>
#include <string_view>

namespace mnemora::core {

namespace {

constexpr std::string_view kAlphabet = "0123456789abcdefghijklmnopqrstuvwxyz";
constexpr int kBase = 36;
constexpr int kMid = 18; // "i"
constexpr std::size_t kMaxWidth = 199;

using Digits = std::vector<int>;

int digitValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'z') {
        return c - 'a' + 10;
    }
    return 0; // anything else, upper case included, reads as zero
}

Digits readDigits(const std::string& key) {
    Digits digits;
    digits.reserve(key.size() + 2);
    for (char c : key) {
        digits.push_back(digitValue(c));
    }
    return digits;
}

std::string writeDigits(const Digits& digits) {
    std::string key;
    key.reserve(digits.size());
    for (int d : digits) {
        key.push_back(kAlphabet[static_cast<std::size_t>(d)]);
    }
    return key;
}

// Long division by two from the most significant digit; a final remainder is dropped.
Digits halve(const Digits& digits) {
    Digits half(digits.size());
    int carry = 0;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        const int value = carry * kBase + digits[i];
        half[i] = value / 2;
        carry = value % 2;
    }
    return half;
}

// Drops trailing zero digits but keeps at least one digit.
void trim(Digits& digits) {
    while (digits.size() > 1 && digits.back() == 0) {
        digits.pop_back();
    }
}

std::string quoted(const FractionalIndex& index) {
    return "'" + index.key + "'";
}

FractionalIndex below(const FractionalIndex& upper) {
    Digits digits = readDigits(upper.key);
    digits.push_back(0);
    digits = halve(digits);
    trim(digits);
    FractionalIndex result(writeDigits(digits));
    if (result.key.empty() || !(result < upper)) {
        fatalError("FractionalIndex.between: no key below " + quoted(upper));
    }
    return result;
}

FractionalIndex midpoint(const FractionalIndex& lower, const FractionalIndex& upper) {
    const Digits lowerDigits = readDigits(lower.key);
    const Digits upperDigits = readDigits(upper.key);
    const std::size_t n = std::max(lowerDigits.size(), upperDigits.size());
    // The first try at one digit more than the longer key always runs, so long keys (a first-seen
    // file of a few hundred lines has them) still get a key between them; only widening past
    // that is capped.
    for (std::size_t width = n + 1; width == n + 1 || width <= kMaxWidth; ++width) {
        // The sum has one digit more than the width: the final carry stands in front.
        Digits sum(width + 1, 0);
        int carry = 0;
        for (std::size_t i = width; i-- > 0;) {
            const int a = i < lowerDigits.size() ? lowerDigits[i] : 0;
            const int b = i < upperDigits.size() ? upperDigits[i] : 0;
            const int total = a + b + carry;
            sum[i + 1] = total % kBase;
            carry = total / kBase;
        }
        sum[0] = carry;
        Digits half = halve(sum);
        half.erase(half.begin());
        trim(half);
        FractionalIndex candidate(writeDigits(half));
        if (!candidate.key.empty() && lower < candidate && candidate < upper) {
            return candidate;
        }
    }
    fatalError("FractionalIndex.between: no key of at most 199 digits between " + quoted(lower) +
               " and " + quoted(upper));
}

} // namespace

FractionalIndex FractionalIndex::between(const std::optional<FractionalIndex>& lower,
                                         const std::optional<FractionalIndex>& upper) {
    if (!lower && !upper) {
        return FractionalIndex(std::string(1, kAlphabet[kMid]));
    }
    if (!upper) {
        return FractionalIndex(lower->key + kAlphabet[kMid]);
    }
    if (!lower) {
        return below(*upper);
    }
    if (!(*lower < *upper)) {
        fatalError("FractionalIndex.between: lower bound " + quoted(*lower) +
                   " is not below upper bound " + quoted(*upper));
    }
    return midpoint(*lower, *upper);
}

// The keys used to grow by one character per line ("i", "ii", "iii", ...), so a file first seen at
// thousands of lines carried megabytes of keys that every save rewrote and every comparison walked.
// They are now spread evenly over the whole range at the shortest width that holds them: key k of
// `count` is the w-digit fraction k / (count + 1), rounded down, with trailing zero digits dropped.
// Keys already stored are never rewritten; only what is placed from now on is shorter.
std::vector<FractionalIndex> FractionalIndex::evenlySpaced(int count) {
    std::vector<FractionalIndex> keys;
    if (count < 1) {
        return keys;
    }
    // The smallest width at which count + 1 steps of at least one unit fit.
    const auto slots = static_cast<std::uint64_t>(count) + 1;
    std::size_t width = 1;
    std::uint64_t span = kBase;
    while (span < slots) {
        span *= kBase;
        ++width;
    }
    // k * span / slots without overflow: span = quotient * slots + remainder.
    const std::uint64_t quotient = span / slots;
    const std::uint64_t remainder = span % slots;
    keys.reserve(static_cast<std::size_t>(count));
    Digits digits(width);
    for (std::uint64_t k = 1; k < slots; ++k) {
        std::uint64_t value = k * quotient + k * remainder / slots;
        for (std::size_t i = width; i-- > 0;) {
            digits[i] = static_cast<int>(value % kBase);
            value /= kBase;
        }
        Digits trimmed = digits;
        trim(trimmed);
        keys.emplace_back(writeDigits(trimmed));
    }
    return keys;
}

std::vector<FractionalIndex> FractionalIndex::evenlySpacedAfter(const FractionalIndex& lower,
                                                                int count) {
    std::vector<FractionalIndex> keys = evenlySpaced(count);
    if (!lower.isWellFormed()) {
        // Outside the alphabet the digits do not order as the bytes do; a longer key with
        // `lower` as its prefix always sorts after it.
        for (FractionalIndex& key : keys) {
            key.key.insert(0, lower.key);
        }
        return keys;
    }
    if (keys.empty()) {
        return keys;
    }
    // Read at `width` digits, `lower` is the whole number `floor`, and the keys are the numbers
    // above it up to kBase^width; `gap` is kBase^width - floor. The gap grows with the width, at
    // the latest once the key's digits run out or fall below "z"; the first width at which it
    // holds count + 1 steps is the shortest.
    const Digits lowerDigits = readDigits(lower.key);
    const auto slots = static_cast<std::uint64_t>(count) + 1;
    std::uint64_t gap = 1;
    std::size_t width = 0;
    while (gap < slots) {
        const int digit = width < lowerDigits.size() ? lowerDigits[width] : 0;
        gap = gap * kBase - static_cast<std::uint64_t>(digit);
        ++width;
    }
    Digits floor(width, 0);
    std::copy_n(lowerDigits.begin(), std::min(width, lowerDigits.size()), floor.begin());
    // Key k is floor + k * gap / slots, rounded down; k * gap can overflow, so it is split.
    const std::uint64_t quotient = gap / slots;
    const std::uint64_t remainder = gap % slots;
    for (std::uint64_t k = 1; k < slots; ++k) {
        std::uint64_t carry = k * quotient + k * remainder / slots;
        Digits digits = floor;
        for (std::size_t i = width; i-- > 0 && carry > 0;) {
            carry += static_cast<std::uint64_t>(digits[i]);
            digits[i] = static_cast<int>(carry % kBase);
            carry /= kBase;
        }
        trim(digits);
        keys[static_cast<std::size_t>(k - 1)] = FractionalIndex(writeDigits(digits));
    }
    return keys;
}

bool FractionalIndex::isWellFormed() const {
    return !key.empty() && key.back() != kAlphabet.front() &&
           key.find_first_not_of(kAlphabet) == std::string::npos;
}

std::ostream& operator<<(std::ostream& out, const FractionalIndex& index) {
    return out << index.key;
}

} // namespace mnemora::core
