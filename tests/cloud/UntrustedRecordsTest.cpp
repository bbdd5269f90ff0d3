// Records that any client could have written, fed through the translator and the engine, then
// local edits on the file that results. Whatever arrives, nothing may stop the program, the file
// must read back as the blocks it was written from, and the keys must stay usable and ascending.
#include "cloud/BlockRecordMapping.h"
#include "cloud/FetchedRecordZoneChangesTranslator.h"
#include "cloud/SyncedDocRecordType.h"
#include "core/BlockFieldValues.h"
#include "core/IncomingBlocks.h"
#include "core/MarkdownCodec.h"
#include "core/SqliteSidecarStore.h"
#include "core/SyncedDocEngine.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <string>
#include <vector>

namespace mnemora::test {
namespace {

using namespace core;

const QString zone = QStringLiteral("SyncedDocs-lists-active");
const std::string docPath = "lists/active/groceries.md";

class Hostile {
public:
    explicit Hostile(unsigned seed)
        : random_(seed) {}

    int below(int count) { return std::uniform_int_distribution<int>(0, count - 1)(random_); }
    bool chance(int percent) { return below(100) < percent; }
    template <typename T> const T& oneOf(const std::vector<T>& values) {
        return values[static_cast<std::size_t>(below(static_cast<int>(values.size())))];
    }

    // Pieces that mean something to the file's reader, stuck together; rarely far too long.
    std::string text() {
        static const std::vector<std::string> pieces{
            "",   "Milk", " :: ", "# Head", "- [ ] box", "- [x] ", "? open ", "§ ", "▸ ", "◈ ",
            "\n", "\r\n", "%20",  "%",      "-",         "::",     " ",       "é",  "☕",  "\t"};
        if (chance(1)) {
            return std::string(IncomingBlocks::kMaxFieldBytes, 'x') + "é" + oneOf(pieces);
        }
        std::string text;
        for (int k = below(6); k > 0; --k) {
            text += oneOf(pieces);
        }
        return text;
    }

    std::string position(const std::vector<Block>& stored) {
        static const std::vector<std::string> odd{"",   "0",  "i0", "00", "AB",  "Z", "i",
                                                  "ii", "i ", "é",  "z",  "zz0", "-1"};
        switch (below(5)) {
        case 0:
            return oneOf(odd);
        case 1:
            if (!stored.empty()) {
                return oneOf(stored).position.key + (chance(50) ? "" : "0");
            }
            [[fallthrough]];
        case 2:
            if (chance(3)) {
                return std::string(IncomingBlocks::kMaxFieldBytes + 1, 'i');
            }
            [[fallthrough]];
        default: {
            std::string key;
            for (int k = 1 + below(6); k > 0; --k) {
                key += "0123456789abcdefghijklmnopqrstuvwxyz"[below(36)];
            }
            return key;
        }
        }
    }

    RecordValue value() {
        static const std::vector<std::int64_t> numbers{
            std::numeric_limits<std::int64_t>::min(), -1, 0, 7, 101,
            std::numeric_limits<std::int64_t>::max()};
        switch (below(6)) {
        case 0:
            return oneOf(numbers);
        case 1:
            return 1.5;
        case 2:
            return chance(50);
        default:
            return QString::fromStdString(text());
        }
    }

    // A block record with every field present, absent, well typed or not, at random.
    Record record(const QString& name, const std::vector<Block>& stored) {
        static const Record wellFormed = BlockRecordMapping::makeRecord(
            blockWithEveryField(), zone,
            RecordReference{{zone, "doc-" + QString::fromStdString(docPath)}});
        static const std::vector<std::string> kinds{
            "heading",     "item",      "text",    "question", "closeStatus",
            "deliverable", "ledgerRow", "heading", "item",     "text",
            "table",       "",          "Heading"};
        Record record(chance(2) ? SyncedDocRecordType::document : SyncedDocRecordType::block,
                      RecordID{zone, name});
        for (const QString& key : wellFormed.keys()) {
            if (chance(key == "position" || key == "text" || key == "kind" ? 3 : 50)) {
                continue;
            }
            if (key == "position") {
                record.set(key, chance(95) ? RecordValue(QString::fromStdString(position(stored)))
                                           : value());
            } else if (key == "kind") {
                record.set(key, QString::fromStdString(oneOf(kinds)));
            } else if (chance(40) && key != "level") {
                record.set(key, *wellFormed.value(key));
            } else if (key == "level" && chance(70)) {
                record.set(key, std::int64_t{below(9) - 1});
            } else {
                record.set(key, value());
            }
        }
        return record;
    }

    // Deletes and puts from a small pool of names, so that names repeat within a batch and
    // between batches; some deletions name blocks that never were, or are not blocks.
    void batch(const std::vector<Block>& stored, QList<Record>& modifications,
               QList<RecordDeletion>& deletions) {
        static const std::vector<QString> names{"P0", "P1", "P2", "P3", "P4", "P5",
                                                "P6", "P7", "P8", "P9", "",   "never"};
        for (int k = below(30); k > 0; --k) {
            modifications.append(record(oneOf(names), stored));
        }
        for (int k = below(6); k > 0; --k) {
            const QString name = chance(50) && !stored.empty()
                                     ? QString::fromStdString(oneOf(stored).id.rawValue)
                                     : oneOf(names);
            deletions.append(
                {RecordID{zone, name},
                 chance(90) ? SyncedDocRecordType::block : SyncedDocRecordType::document,
                 {}});
        }
        if (chance(5)) {
            for (const Block& block : stored) {
                deletions.append({RecordID{zone, QString::fromStdString(block.id.rawValue)},
                                  SyncedDocRecordType::block,
                                  {}});
            }
        }
    }

    // One to three local edits of the file: a line typed, removed or rewritten.
    std::string edited(const std::string& file) {
        std::vector<std::string> lines;
        for (std::size_t start = 0;;) {
            const std::size_t end = file.find('\n', start);
            lines.push_back(file.substr(start, end - start));
            if (end == std::string::npos) {
                break;
            }
            start = end + 1;
        }
        for (int k = 1 + below(3); k > 0; --k) {
            std::string line = text();
            std::erase(line, '\n');
            const auto at = static_cast<std::size_t>(below(static_cast<int>(lines.size()) + 1));
            if (chance(50) || lines.size() < 2) {
                lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(at), line);
            } else if (chance(50)) {
                lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(at % lines.size()));
            } else {
                lines[at % lines.size()] = line;
            }
        }
        std::string joined;
        for (std::size_t k = 0; k < lines.size(); ++k) {
            joined += (k == 0 ? "" : "\n") + lines[k];
        }
        return joined;
    }

private:
    std::mt19937 random_;
};

std::vector<BlockID> idsOf(const std::vector<Block>& blocks) {
    std::vector<BlockID> ids;
    for (const Block& block : blocks) {
        ids.push_back(block.id);
    }
    return ids;
}

void expectUsableAscendingKeys(const std::vector<Block>& blocks) {
    for (std::size_t k = 0; k < blocks.size(); ++k) {
        ASSERT_TRUE(blocks[k].position.isWellFormed()) << k << ": " << blocks[k].position;
        if (k > 0) {
            ASSERT_LT(blocks[k - 1].position, blocks[k].position);
        }
    }
}

TEST(UntrustedRecordsTest, HostileRecordsAndLocalEditsNeverStopTheProgramOrBreakTheFile) {
    std::size_t records = 0;
    std::size_t repaired = 0;
    for (unsigned seed = 1; seed <= 4; ++seed) {
        Hostile hostile(seed);
        SqliteSidecarStore store;
        SyncedDocEngine engine(store);
        engine.applyFileChange(docPath, "# Groceries\n- [ ] Milk\nBread");
        for (int round = 0; round < 50; ++round) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", round " + std::to_string(round));
            QList<Record> modifications;
            QList<RecordDeletion> deletions;
            hostile.batch(engine.blocks("", docPath), modifications, deletions);
            records += static_cast<std::size_t>(modifications.size() + deletions.size());

            std::vector<BlockRepair> repairs;
            const auto ops =
                FetchedRecordZoneChangesTranslator::translate(modifications, deletions, repairs);
            const std::string text = engine.applyRemoteOps("", docPath, ops, repairs);
            repaired += repairs.size();

            // The file holds one line per stored block and reads back as those very blocks.
            const std::vector<Block> stored = engine.blocks("", docPath);
            ASSERT_NO_FATAL_FAILURE(expectUsableAscendingKeys(stored));
            ASSERT_EQ(MarkdownCodec::parse(text).size(), stored.size());
            const auto readBack = engine.applyFileChange(docPath, text);
            EXPECT_EQ(idsOf(readBack.blocks), idsOf(stored));
            EXPECT_EQ(engine.serialize(docPath), text);
            for (const BlockOp& op : engine.applyFileChange(docPath, text).ops) {
                EXPECT_EQ(op.kind(), BlockOp::Kind::keep);
            }

            const std::string local = hostile.edited(text);
            engine.applyFileChange(docPath, local);
            ASSERT_NO_FATAL_FAILURE(expectUsableAscendingKeys(engine.blocks("", docPath)));
            EXPECT_EQ(engine.serialize(docPath), local);
        }
    }
    // The run met what it was meant to meet.
    EXPECT_GT(records, 2000u);
    EXPECT_GT(repaired, 500u);
}

} // namespace
} // namespace mnemora::test
