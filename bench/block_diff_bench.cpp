// Diff of a 1,000-line document against a copy with 10 scattered edits, 3 moves and 5 inserts.
// Target: at most 20 ms per diff.

#include "core/BlockDiffMatcher.h"
#include "core/FractionalIndex.h"
#include "core/MarkdownCodec.h"

#include <benchmark/benchmark.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "NotesDocument.h"

namespace {

using namespace mnemora::core;
using BlockDiffMatcher::diff;

constexpr int kLines = 1000;

// Keys as insertions through `between` leave them: bisecting the range keeps them a few
// characters long. Keys of a file first seen at 1,000 lines ("i" ... 1,000 times "i") cannot be
// used: `between` refuses bounds longer than 198 digits.
void bisect(const std::optional<FractionalIndex>& lower,
            const std::optional<FractionalIndex>& upper, int count,
            std::vector<FractionalIndex>& out) {
    if (count <= 0) {
        return;
    }
    const FractionalIndex middle = FractionalIndex::between(lower, upper);
    const int before = count / 2;
    bisect(lower, middle, before, out);
    out.push_back(middle);
    bisect(middle, upper, count - before - 1, out);
}

Block lineAt(int i) {
    return MarkdownCodec::parse(notesLine(i)).front();
}

struct Scenario {
    std::vector<Block> previous;
    std::vector<Block> edited;
};

Scenario makeScenario() {
    Scenario s;
    std::vector<FractionalIndex> keys;
    bisect(std::nullopt, std::nullopt, kLines, keys);
    for (int i = 0; i < kLines; ++i) {
        Block block = lineAt(i);
        block.position = keys[static_cast<std::size_t>(i)];
        s.previous.push_back(block);
    }

    std::vector<Block> lines;
    for (int i = 0; i < kLines; ++i) {
        Block block = lineAt(i);
        if (i % 100 == 55) { // 10 edits of one word
            block.text.replace(0, 4, block.kind == BlockKind::item ? "Done" : "Row ");
        }
        lines.push_back(block);
    }
    // 3 moves, each line carried 200 lines further down; the last first, so none moves twice.
    for (int from : {705, 505, 205}) {
        Block moved = lines[static_cast<std::size_t>(from)];
        lines.erase(lines.begin() + from);
        lines.insert(lines.begin() + from + 200, moved);
    }
    // 5 inserts.
    for (int at : {130, 330, 530, 730, 930}) {
        lines.insert(lines.begin() + at,
                     Block{.text = "A new thought at line " + std::to_string(at)});
    }
    for (Block& block : lines) {
        block.id = BlockID(); // a parse mints fresh identifiers
    }
    s.edited = lines;
    return s;
}

void BM_DiffThousandLines(benchmark::State& state) {
    const Scenario s = makeScenario();
    std::map<BlockOp::Kind, int> counts;
    for (const BlockOp& op : diff(s.previous, s.edited)) {
        ++counts[op.kind()];
    }
    const std::map<BlockOp::Kind, int> expected{{BlockOp::Kind::keep, 987},
                                                {BlockOp::Kind::edit, 10},
                                                {BlockOp::Kind::add, 5},
                                                {BlockOp::Kind::move, 3}};
    if (counts != expected) {
        state.SkipWithError("the scenario does not give 10 edits, 3 moves and 5 adds");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(diff(s.previous, s.edited));
    }
}
BENCHMARK(BM_DiffThousandLines)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
