// How the synced core scales with the length of a document, on a file sidecar, at 1,000, 10,000
// and 100,000 lines:
//   - the first import of a file the sidecar has never seen (parse, diff, save);
//   - a file change of one edited line and one inserted line, far apart (load, parse, diff, save).
// Targets: at 10,000 lines the import at most 100 ms, the change at most 30 ms, and the process's
// peak memory at most 60 MB; at 100,000 lines both under 1 s.
//
// Peak memory is the process's high-water mark (`peak_MB`), so run one size per process to read
// it, for example: document_scale_bench --benchmark_filter='EditAndInsert/10000$'
//
// The allocator is tuned as the application's start tunes it, so that freed blocks are reused
// rather than faulted in again on every round.

#include "core/SyncedDocEngine.h"
#include "platform/AllocatorTuning.h"

#include <benchmark/benchmark.h>

#include <sys/resource.h>

#include <map>
#include <string>

#include "FileSidecar.h"
#include "NotesDocument.h"

namespace {

using mnemora::core::BlockOp;
using mnemora::core::SyncedDocEngine;

constexpr const char* kDocPath = "journal/log.md";

// The plain notes document of `lines` lines; `changed` edits the line at a third of it and
// inserts a new one at two thirds.
std::string document(int lines, bool changed) {
    std::string text;
    for (int i = 0; i < lines; ++i) {
        if (i > 0) {
            text += '\n';
        }
        if (changed && i == 2 * lines / 3) {
            text += "A new line written in between\n";
        }
        text += notesLine(i);
        if (changed && i == lines / 3) {
            text += " Changed.";
        }
    }
    return text;
}

void reportPeakMemory(benchmark::State& state) {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    state.counters["peak_MB"] = static_cast<double>(usage.ru_maxrss) / 1024.0; // kilobytes
}

void BM_FirstImport(benchmark::State& state) {
    FileSidecar sidecar(state);
    if (sidecar.store() == nullptr) {
        return;
    }
    SyncedDocEngine engine(*sidecar.store());
    const std::string text = document(static_cast<int>(state.range(0)), false);
    std::size_t blocks = 0;
    for (auto _ : state) {
        blocks = engine.applyFileChange(kDocPath, text).blocks.size();
        state.PauseTiming();
        engine.deleteDoc("", kDocPath); // the next round sees the file for the first time again
        state.ResumeTiming();
    }
    if (blocks != static_cast<std::size_t>(state.range(0))) {
        state.SkipWithError("the import lost lines");
    }
    reportPeakMemory(state);
}
BENCHMARK(BM_FirstImport)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

void BM_EditAndInsert(benchmark::State& state) {
    FileSidecar sidecar(state);
    if (sidecar.store() == nullptr) {
        return;
    }
    SyncedDocEngine engine(*sidecar.store());
    const int lines = static_cast<int>(state.range(0));
    const std::string texts[2] = {document(lines, false), document(lines, true)};
    engine.applyFileChange(kDocPath, texts[0]);

    std::map<BlockOp::Kind, int> counts;
    for (const BlockOp& op : engine.applyFileChange(kDocPath, texts[1]).ops) {
        ++counts[op.kind()];
    }
    if (counts[BlockOp::Kind::edit] != 1 || counts[BlockOp::Kind::add] != 1 ||
        counts[BlockOp::Kind::keep] != lines - 1) {
        state.SkipWithError("the change was not read as one edit and one insert");
        return;
    }
    // Every round undoes or redoes the same change: one edit and one insert or delete.
    int round = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(engine.applyFileChange(kDocPath, texts[round++ % 2]));
    }
    reportPeakMemory(state);
}
BENCHMARK(BM_EditAndInsert)
    ->Arg(1000)
    ->Arg(10000)
    ->Arg(100000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

} // namespace

int main(int argc, char** argv) {
    mnemora::keepFreedMemoryForReuse();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
