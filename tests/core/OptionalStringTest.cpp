#include "core/OptionalString.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace mnemora::core {
namespace {

// The values that tell the cases apart: absent, empty, and two different texts.
const std::vector<std::optional<std::string>> kValues = {std::nullopt, std::string(), "milk",
                                                         "bread"};

std::string describe(const std::optional<std::string>& value) {
    return value ? "\"" + *value + "\"" : "absent";
}

// Every comparison gives what the same comparison of std::optional gives, whichever side the
// standard type is on: an absent value equals only an absent one, never an empty text.
TEST(OptionalString, ComparesAsStdOptionalDoes) {
    for (const auto& left : kValues) {
        for (const auto& right : kValues) {
            SCOPED_TRACE(describe(left) + " against " + describe(right));
            const OptionalString a = left;
            const OptionalString b = right;
            const bool expected = left == right;
            EXPECT_EQ(a == b, expected);
            EXPECT_EQ(a != b, !expected);
            EXPECT_EQ(a == right, expected);
            EXPECT_EQ(right == a, expected);
            EXPECT_EQ(a != right, !expected);
            EXPECT_EQ(right != a, !expected);
            if (right) {
                EXPECT_EQ(a == *right, expected);
                EXPECT_EQ(*right == a, expected);
                EXPECT_EQ(a == right->c_str(), expected);
                EXPECT_EQ(a == std::string_view(*right), expected);
            }
        }
        EXPECT_EQ(OptionalString(left) == std::nullopt, !left.has_value());
        EXPECT_EQ(std::nullopt == OptionalString(left), !left.has_value());
    }
}

TEST(OptionalString, ConvertsToAndFromStdOptionalWithoutLoss) {
    for (const auto& value : kValues) {
        SCOPED_TRACE(describe(value));
        const OptionalString held = value;
        const std::optional<std::string> back = held;
        EXPECT_EQ(back, value);
        EXPECT_EQ(held.has_value(), value.has_value());
        EXPECT_EQ(static_cast<bool>(held), value.has_value());
        EXPECT_EQ(held.value_or("none"), value.value_or("none"));
    }
    // An empty text and an absent one hash apart, as they compare apart.
    EXPECT_NE(std::hash<OptionalString>{}(OptionalString(std::string())),
              std::hash<OptionalString>{}(OptionalString()));
}

// A copy owns its text: changing either side leaves the other as it was.
TEST(OptionalString, CopiesAreIndependent) {
    OptionalString original = "milk";
    OptionalString copy = original;
    *copy += " and bread";
    EXPECT_EQ(original, "milk");
    EXPECT_EQ(copy, "milk and bread");

    OptionalString assigned = "tea";
    assigned = original;
    original->append("!");
    EXPECT_EQ(assigned, "milk");

    assigned = OptionalString();
    EXPECT_FALSE(assigned.has_value());
    assigned = copy;
    EXPECT_EQ(assigned, "milk and bread");

    const OptionalString& alias = assigned;
    assigned = alias;
    EXPECT_EQ(assigned, "milk and bread");

    OptionalString moved = std::move(assigned);
    EXPECT_EQ(moved, "milk and bread");
}

TEST(OptionalString, ReadsAndWritesAsStdOptional) {
    OptionalString value;
    EXPECT_THROW((void)value.value(), std::bad_optional_access);
    EXPECT_EQ(value.emplace(3, 'x'), "xxx");
    EXPECT_EQ(value.value(), "xxx");
    EXPECT_EQ(value->size(), 3u);
    value = std::nullopt;
    EXPECT_EQ(value, std::nullopt);
    value = std::string("answer");
    EXPECT_EQ(*value, "answer");
    value.reset();
    EXPECT_EQ(value.value_or(std::string("fallback")), "fallback");
    value = std::optional<std::string>("from an optional");
    EXPECT_EQ(value, "from an optional");
}

TEST(OptionalString, PrintsItsTextOrAbsent) {
    std::ostringstream text;
    PrintTo(OptionalString("say \"hi\""), &text);
    text << ' ';
    PrintTo(OptionalString(), &text);
    EXPECT_EQ(text.str(), "\"say \\\"hi\\\"\" (absent)");
}

// The point of the type: a block carries a couple of dozen of these, nearly all absent.
static_assert(sizeof(OptionalString) == sizeof(void*));

} // namespace
} // namespace mnemora::core
