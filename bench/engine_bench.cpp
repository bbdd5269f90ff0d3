// A file change of a 1,000-line document with 10 edited lines on a file sidecar: load, parse,
// diff and save. Target: at most 50 ms per change.

#include "core/SyncedDocEngine.h"

#include <benchmark/benchmark.h>

#include <string>

#include "FileSidecar.h"
#include "NotesDocument.h"

namespace {

using mnemora::core::BlockOp;
using mnemora::core::SyncedDocEngine;

constexpr int kLines = 1000;
constexpr const char* kDocPath = "lists/active/big.md";

std::string document(bool edited) {
    std::string text;
    for (int i = 0; i < kLines; ++i) {
        if (i > 0) {
            text += '\n';
        }
        text += notesLine(i);
        if (edited && i % 100 == 55) { // 10 edits of a few words each
            text += " Changed.";
        }
    }
    return text;
}

void BM_ApplyFileChangeThousandLinesTenEdits(benchmark::State& state) {
    FileSidecar sidecar(state);
    if (sidecar.store() == nullptr) {
        return;
    }
    SyncedDocEngine engine(*sidecar.store());
    const std::string texts[2] = {document(false), document(true)};
    engine.applyFileChange(kDocPath, texts[0]);

    // Alternating the two texts makes every round a change of the same 10 lines.
    int round = 0;
    int edits = 0;
    for (auto _ : state) {
        ++round;
        const auto result = engine.applyFileChange(kDocPath, texts[round % 2]);
        edits = 0;
        for (const BlockOp& op : result.ops) {
            edits += op.kind() == BlockOp::Kind::edit ? 1 : 0;
        }
    }
    if (edits != 10) {
        state.SkipWithError("the change was not read as 10 edits");
    }
}
BENCHMARK(BM_ApplyFileChangeThousandLinesTenEdits)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
