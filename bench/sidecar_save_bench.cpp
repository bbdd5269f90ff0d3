// Saving 1,000 blocks in one transaction on a file store. Target: at most 20 ms per save.

#include "core/FractionalIndex.h"

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "FileSidecar.h"

namespace {

using namespace mnemora::core;

constexpr int kBlocks = 1000;

std::vector<Block> thousandBlocks() {
    std::vector<Block> blocks;
    for (int i = 0; i < kBlocks; ++i) {
        Block block;
        if (i % 10 == 0) {
            block = Block{.kind = BlockKind::question,
                          .text = "Was receipt " + std::to_string(i) + " a business expense?",
                          .questionID = "q-" + std::to_string(i),
                          .questionStatus = QuestionCardStatus::open,
                          .booksID = "main",
                          .askedBy = "dreamer",
                          .askedAt = "2024-03-01T10:00:00Z"};
        } else {
            block = Block{.kind = BlockKind::item,
                          .text = "Item " + std::to_string(i) + " of the household list",
                          .checked = i % 2 == 0};
        }
        // Short ascending keys, as a document edited over time has them.
        block.position = FractionalIndex(std::string("i").append(std::to_string(100000 + i)));
        blocks.push_back(block);
    }
    return blocks;
}

void BM_SaveThousandBlocksToFile(benchmark::State& state) {
    FileSidecar sidecar(state);
    SqliteSidecarStore* store = sidecar.store();
    if (store == nullptr) {
        return;
    }
    const std::vector<Block> blocks = thousandBlocks();
    store->saveBlocks("lists/active/big.md", blocks); // every round replaces a full document
    for (auto _ : state) {
        store->saveBlocks("lists/active/big.md", blocks);
    }
    if (store->loadBlocks("lists/active/big.md").size() != blocks.size()) {
        state.SkipWithError("the saved document lost blocks");
    }
}
BENCHMARK(BM_SaveThousandBlocksToFile)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_LoadThousandBlocksFromFile(benchmark::State& state) {
    FileSidecar sidecar(state);
    SqliteSidecarStore* store = sidecar.store();
    if (store == nullptr) {
        return;
    }
    store->saveBlocks("lists/active/big.md", thousandBlocks());
    for (auto _ : state) {
        benchmark::DoNotOptimize(store->loadBlocks("lists/active/big.md"));
    }
}
BENCHMARK(BM_LoadThousandBlocksFromFile)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
