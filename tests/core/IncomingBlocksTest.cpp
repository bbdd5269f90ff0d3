#include "core/IncomingBlocks.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace mnemora::core {
namespace {

using Repairs = std::vector<BlockRepair>;

Block at(const std::string& id, const std::string& position) {
    return Block{.id = BlockID(id), .text = id, .position = FractionalIndex(position)};
}

std::vector<std::string> keysOf(const std::vector<Block>& blocks) {
    std::vector<std::string> keys;
    for (const Block& block : blocks) {
        keys.push_back(block.id.rawValue + "=" + block.position.key);
    }
    return keys;
}

BlockRepair position(const std::string& id, const std::string& detail) {
    return BlockRepair{.blockID = BlockID(id), .field = "position", .detail = detail};
}

TEST(IncomingBlocksTest, UnusableAndCollidingKeysGetFreshKeysBetweenTheirNeighbours) {
    struct Case {
        const char* name;
        std::vector<Block> blocks;
        std::vector<std::string> expected;
        Repairs repairs;
    };
    const std::string tooLong(IncomingBlocks::kMaxFieldBytes + 1, 'i');
    const Case cases[] = {
        {"usable keys stay, in key order",
         {at("B", "ii"), at("A", "i"), at("C", "z")},
         {"A=i", "B=ii", "C=z"},
         {}},
        {"nothing below zero",
         {at("A", "i"), at("Z", "0"), at("B", "ii")},
         {"Z=9", "A=i", "B=ii"},
         {position("Z", "\"0\" ends in \"0\"; now \"9\"")}},
        {"nothing between a key and itself with a zero",
         {at("A", "i"), at("B", "i0")},
         {"A=i", "B=ii"},
         {position("B", "\"i0\" ends in \"0\"; now \"ii\"")}},
        {"empty",
         {at("E", ""), at("A", "i")},
         {"E=9", "A=i"},
         {position("E", "\"\" is empty; now \"9\"")}},
        {"outside the alphabet",
         {at("A", "i"), at("U", "AB")},
         {"U=9", "A=i"},
         {position("U", "\"AB\" has characters other than 0-9 and a-z; now \"9\"")}},
        {"a shared key: the later identifier moves",
         {at("B", "i"), at("A", "i"), at("C", "j")},
         {"A=i", "B=ii", "C=j"},
         {position("B", "\"i\" is also the key of the block before it; now \"ii\"")}},
        {"too long",
         {at("L", tooLong)},
         {"L=i"},
         {position("L",
                   "\"" + std::string(80, 'i') + "…\" is longer than 65536 bytes; now \"i\"")}},
        {"a run of unusable keys before a usable one",
         {at("A", "0"), at("B", "00"), at("C", "a")},
         {"A=5", "B=7i", "C=a"},
         {position("A", "\"0\" ends in \"0\"; now \"5\""),
          position("B", "\"00\" ends in \"0\"; now \"7i\"")}},
    };
    for (const Case& c : cases) {
        std::vector<Block> blocks = c.blocks;
        Repairs repairs;
        IncomingBlocks::repairPositions(blocks, repairs);
        EXPECT_EQ(keysOf(blocks), c.expected) << c.name;
        EXPECT_EQ(repairs, c.repairs) << c.name;
    }
}

TEST(IncomingBlocksTest, FieldsAreCutJoinedIntoOneLineFittedAndTakenAsTheFileReadsThem) {
    struct Case {
        const char* name;
        Block block;
        Block expected;
        Repairs repairs;
    };
    std::string accented = "a";
    for (int k = 0; k < 40000; ++k) {
        accented += "\u00e9"; // two bytes each, so the limit falls inside one
    }
    const BlockID id("R");
    const Case cases[] = {
        {"clean",
         Block{.id = id, .kind = BlockKind::heading, .level = 2, .text = "Shop"},
         Block{.id = id, .kind = BlockKind::heading, .level = 2, .text = "Shop"},
         {}},
        {"line breaks",
         Block{.id = id, .text = "one\ntwo\r\nthree"},
         Block{.id = id, .text = "one two\r three"},
         {{.blockID = id,
           .field = "text",
           .detail = "2 line breaks became blanks, since a block is one line of the file"}}},
        {"one line break",
         Block{.id = id, .text = "one\n"},
         Block{.id = id, .text = "one "},
         {{.blockID = id,
           .field = "text",
           .detail = "a line break became a blank, since a block is one line of the file"}}},
        {"huge texts",
         Block{.id = id,
               .kind = BlockKind::question,
               .text = accented,
               .questionStatus = QuestionCardStatus::open,
               .answer = accented},
         Block{.id = id,
               .kind = BlockKind::question,
               .text = accented.substr(0, 65535),
               .questionStatus = QuestionCardStatus::open,
               .answer = accented.substr(0, 65535)},
         {{.blockID = id, .field = "text", .detail = "cut from 80001 to 65535 bytes"},
          {.blockID = id, .field = "answer", .detail = "cut from 80001 to 65535 bytes"}}},
        {"heading too deep",
         Block{.id = id, .kind = BlockKind::heading, .level = 2147483647},
         Block{.id = id, .kind = BlockKind::heading, .level = 6},
         {{.blockID = id,
           .field = "level",
           .detail = "level 2147483647 is no heading level; now 6"}}},
        {"heading at zero",
         Block{.id = id, .kind = BlockKind::heading, .level = 0},
         Block{.id = id, .kind = BlockKind::heading, .level = 1},
         {{.blockID = id, .field = "level", .detail = "level 0 is no heading level; now 1"}}},
        {"level on an item",
         Block{.id = id, .kind = BlockKind::item, .level = -3, .checked = true},
         Block{.id = id, .kind = BlockKind::item, .level = 0, .checked = true},
         {{.blockID = id,
           .field = "level",
           .detail = "level -3 on a block of kind \"item\", which has none; now 0"}}},
        {"what the file cannot hold",
         Block{.id = id, .text = "- [x] Milk", .answer = "", .countDone = 3},
         Block{.id = id, .kind = BlockKind::item, .text = "Milk", .checked = true},
         {{.blockID = id,
           .field = "kind, text, checked, answer, countDone",
           .detail = "taken as the file reads the line \"- [x] Milk\""}}},
    };
    for (const Case& c : cases) {
        Block block = c.block;
        Repairs repairs;
        IncomingBlocks::repairFields(block, repairs);
        EXPECT_EQ(block, c.expected) << c.name;
        EXPECT_EQ(repairs, c.repairs) << c.name;
    }
}

} // namespace
} // namespace mnemora::core
