#include "core/FractionalIndex.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace mnemora::core {
namespace {

using FI = FractionalIndex;

std::string between(std::optional<std::string> lower, std::optional<std::string> upper) {
    std::optional<FI> lo = lower ? std::optional<FI>(FI(*lower)) : std::nullopt;
    std::optional<FI> up = upper ? std::optional<FI>(FI(*upper)) : std::nullopt;
    return FI::between(lo, up).key;
}

TEST(FractionalIndexBetween, OpenBounds) {
    EXPECT_EQ(between(std::nullopt, std::nullopt), "i");
    EXPECT_EQ(between("i", std::nullopt), "ii");
    EXPECT_EQ(between("zz", std::nullopt), "zzi");
}

TEST(FractionalIndexBetween, BelowUpperBoundHalvesTheKey) {
    EXPECT_EQ(between(std::nullopt, "i"), "9");
    EXPECT_EQ(between(std::nullopt, "1"), "0i");
    EXPECT_EQ(between(std::nullopt, "0i"), "09");
    EXPECT_EQ(between(std::nullopt, "09"), "04i");
}

TEST(FractionalIndexBetween, BothBoundsTakeTheMidpoint) {
    EXPECT_EQ(between("a", "b"), "ai");
    EXPECT_EQ(between("i", "ii"), "i9");
    EXPECT_EQ(between("i", "j"), "ii");
    EXPECT_EQ(between("0", "z"), "hi");
    // A longer width is needed when the first midpoint only repeats the lower bound.
    EXPECT_EQ(between("a", "a1"), "a0i");
}

TEST(FractionalIndexBetween, UpperCaseKeysReadAsZeros) {
    EXPECT_EQ(between(std::nullopt, "AB"), "0");
    EXPECT_EQ(between("AB", "z"), "hi");
    EXPECT_EQ(between("AB", "z"), between("00", "z"));
}

TEST(FractionalIndexBetween, RandomInsertionsStayStrictlyOrdered) {
    std::mt19937 rng(7);
    std::vector<FI> keys = FI::evenlySpaced(3);
    for (int step = 0; step < 600; ++step) {
        const std::size_t slot =
            std::uniform_int_distribution<std::size_t>(0, keys.size() - 1)(rng);
        const std::optional<FI> lower =
            slot == 0 ? std::nullopt : std::optional<FI>(keys[slot - 1]);
        const FI key = FI::between(lower, keys[slot]);
        ASSERT_TRUE(!lower || *lower < key) << key;
        ASSERT_LT(key, keys[slot]);
        ASSERT_NE(key.key.back(), '0') << "generated keys never end in a zero digit";
        keys.insert(keys.begin() + static_cast<std::ptrdiff_t>(slot), key);
    }
    EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end()));
    EXPECT_EQ(std::adjacent_find(keys.begin(), keys.end()), keys.end());
}

TEST(FractionalIndexBetween, WidthLimitIsInclusiveAt199Digits) {
    const std::string stem(197, 'i');
    EXPECT_EQ(between(stem + "a", stem + "b"), stem + "ai");
}

using FractionalIndexDeathTest = ::testing::Test;

TEST_F(FractionalIndexDeathTest, InvertedOrEqualBoundsStopTheProgram) {
    EXPECT_DEATH(between("b", "a"), "lower bound 'b' is not below upper bound 'a'");
    EXPECT_DEATH(between("i", "i"), "lower bound 'i' is not below upper bound 'i'");
    // The precondition compares the text as given, not the digits it reads as.
    EXPECT_DEATH(between("a", "AB"), "lower bound 'a' is not below upper bound 'AB'");
}

TEST_F(FractionalIndexDeathTest, NothingBelowAnAllZeroKey) {
    EXPECT_DEATH(between(std::nullopt, "0"), "no key below '0'");
    EXPECT_DEATH(between(std::nullopt, ""), "no key below ''");
    // A longer all-zero key still has the shorter "0" below it in byte order.
    EXPECT_EQ(between(std::nullopt, "000"), "0");
}

TEST_F(FractionalIndexDeathTest, NoKeyBetweenKeysThatDifferByATrailingZero) {
    EXPECT_DEATH(between("a", "a0"), "no key of at most 199 digits between 'a' and 'a0'");
}

TEST_F(FractionalIndexDeathTest, KeysLongerThanTheCapGetOneTryAtTheirOwnWidth) {
    const std::string stem(250, 'i');
    EXPECT_EQ(between(stem + "a", stem + "b"), stem + "ai");
    EXPECT_EQ(between(stem, stem + "i"), stem + "9");
    // Widening past the cap is still refused.
    EXPECT_DEATH(between(stem + "a", stem + "a0"), "no key of at most 199 digits between");
}

TEST(FractionalIndexEvenlySpaced, KeysAfterALastOneSpreadOverTheRestOfTheRange) {
    const auto keys = [](const std::string& lower, int count) {
        std::string joined;
        for (const FI& key : FI::evenlySpacedAfter(FI(lower), count)) {
            joined += (joined.empty() ? "" : " ") + key.key;
        }
        return joined;
    };
    // (lower, count, keys)
    const std::vector<std::tuple<std::string, int, std::string>> cases{
        {"i", 0, ""},
        {"i", 1, "r"},
        {"r", 1, "v"},
        {"iii", 2, "o u"}, // shorter than the key before them
        {"y", 2, "yo zc"},
        {"z", 1, "zi"}, // a run of "z" leaves no room at its own width
        {"zz", 3, "zz9 zzi zzr"},
        {"iZ", 1, "iZi"}, // not in the alphabet: behind it as its prefix
    };
    for (const auto& [lower, count, expected] : cases) {
        EXPECT_EQ(keys(lower, count), expected) << lower << " " << count;
    }
    EXPECT_EQ(keys("i", 35).substr(0, 4), "ii j") << "a trailing zero digit is dropped";

    std::mt19937 random(22);
    std::uniform_int_distribution<int> digit(0, 35);
    for (int round = 0; round < 300; ++round) {
        std::string lower;
        for (int length = 1 + round % 7; static_cast<int>(lower.size()) < length;) {
            lower += "0123456789abcdefghijklmnopqrstuvwxyz"[digit(random)];
        }
        lower += round % 5 == 0 ? "zzzz" : "k";
        const int count = 1 + static_cast<int>(random() % 2000);
        SCOPED_TRACE(lower + " " + std::to_string(count));
        const std::vector<FI> after = FI::evenlySpacedAfter(FI(lower), count);
        ASSERT_EQ(after.size(), static_cast<std::size_t>(count));
        EXPECT_LT(FI(lower), after.front());
        EXPECT_TRUE(std::adjacent_find(after.begin(), after.end(), std::greater_equal<FI>()) ==
                    after.end())
            << "strictly ascending";
        std::size_t widest = lower.size();
        for (const FI& key : FI::evenlySpaced(count)) {
            widest = std::max(widest, lower.size() + key.key.size());
        }
        for (const FI& key : after) {
            ASSERT_TRUE(key.isWellFormed()) << key;
            ASSERT_LE(key.key.size(), widest) << key;
        }
    }
}

TEST(FractionalIndexEvenlySpaced, SpreadsKeysAtTheShortestWidthThatHoldsThem) {
    EXPECT_TRUE(FI::evenlySpaced(0).empty());
    EXPECT_TRUE(FI::evenlySpaced(-4).empty());
    EXPECT_EQ(FI::evenlySpaced(1), (std::vector<FI>{FI("i")}));
    EXPECT_EQ(FI::evenlySpaced(3), (std::vector<FI>{FI("9"), FI("i"), FI("r")}));
    // 35 keys fill every single digit; 36 need two, and a trailing zero digit is dropped.
    EXPECT_EQ(FI::evenlySpaced(35).front().key + FI::evenlySpaced(35).back().key, "1z");
    const std::vector<FI> two = FI::evenlySpaced(36);
    EXPECT_EQ(two.front().key + " " + two[17].key + " " + two.back().key, "0z hi z");
    // (count, widest key): about log36 of the count.
    for (const auto& [count, width] :
         std::vector<std::pair<int, std::size_t>>{{1295, 2}, {1296, 3}, {10000, 3}, {100000, 4}}) {
        SCOPED_TRACE(count);
        const std::vector<FI> keys = FI::evenlySpaced(count);
        ASSERT_EQ(keys.size(), static_cast<std::size_t>(count));
        EXPECT_TRUE(std::adjacent_find(keys.begin(), keys.end(), std::greater_equal<FI>()) ==
                    keys.end())
            << "strictly ascending";
        EXPECT_EQ(
            std::max_element(keys.begin(), keys.end(),
                             [](const FI& a, const FI& b) { return a.key.size() < b.key.size(); })
                ->key.size(),
            width);
        EXPECT_TRUE(std::none_of(keys.begin(), keys.end(),
                                 [](const FI& key) { return key.key.back() == '0'; }));
    }
}

TEST(FractionalIndexOrder, IsPlainByteOrderOfTheText) {
    EXPECT_LT(FI("Z"), FI("a"));
    EXPECT_LT(FI("i"), FI("i0"));
    EXPECT_LT(FI("9z"), FI("a"));
    EXPECT_LT(FI("z"), FI("\xC3\xA9")); // bytes above 0x7F sort last
    EXPECT_GT(FI("b"), FI("ab"));
}

} // namespace
} // namespace mnemora::core
