// Parse plus serialise of a mixed synced document. The codec runs on the whole file at every
// change, and parsed keys grow to n characters for n lines, so both sizes are measured.
#include "core/MarkdownCodec.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

using namespace mnemora::core;

// Headings, items, paragraphs, blank lines and the four typed kinds, repeating every 12 lines.
std::string mixedDocument(int lines) {
    static const char* const pattern[] = {
        "## March",
        "- [ ] Send the bank statement to the accountant before the fifth",
        "- [x] Collect the receipts from the studio drawer",
        "The coffee machine lease renews in April; check whether the price went up.",
        "",
        "? open q-17 dreamer 2026-03-01T09:00:00Z - - - - :: Was the March invoice private?",
        "? answered q-18 dreamer 2026-03-01T09:00:00Z phone 2026-03-02T08:20:00Z clip-4.caf - "
        "transcribing 40 Yes%20it :: Is this receipt yours?",
        "? open q-19 dreamer 2026-03-01T09:00:00Z - - - - - - - books-1 expense - 2026-03 :: "
        "Which account?",
        "§ 2026-03 Studio%20Oy collecting - 2026-03-01 2026-03-04 needsAnswer Two%20questions 2 "
        ":: Studio Oy · 2026-03 · collecting",
        "▸ Bank%20statement - partial 3 5 :: Bank statement 3 of 5",
        "◈ 2026-03-04 your%20bank 120.00 found :: Harbour Coffee",
        "◈ 2026-03-05 - 42.50 asking :: Corner Hardware",
    };
    constexpr int patternLength = static_cast<int>(std::size(pattern));
    std::string text;
    for (int i = 0; i < lines; ++i) {
        text += pattern[i % patternLength];
        if (i + 1 < lines) {
            text += '\n';
        }
    }
    return text;
}

void BM_CodecRoundTrip(benchmark::State& state) {
    const std::string text = mixedDocument(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        std::vector<MarkdownCodec::Degradation> degradations;
        const std::vector<Block> blocks = MarkdownCodec::parse(text, degradations);
        std::string out = MarkdownCodec::serialize(blocks);
        benchmark::DoNotOptimize(out);
        if (out.size() != text.size() || !degradations.empty()) {
            state.SkipWithError("round trip changed the document");
            break;
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(text.size()));
    state.counters["lines"] = static_cast<double>(state.range(0));
}
BENCHMARK(BM_CodecRoundTrip)->Arg(1000)->Arg(5000)->Unit(benchmark::kMillisecond);

void BM_CodecParse(benchmark::State& state) {
    const std::string text = mixedDocument(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(MarkdownCodec::parse(text));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(text.size()));
}
BENCHMARK(BM_CodecParse)->Arg(1000)->Arg(5000)->Unit(benchmark::kMillisecond);

void BM_CodecSerialize(benchmark::State& state) {
    const std::string text = mixedDocument(static_cast<int>(state.range(0)));
    const std::vector<Block> blocks = MarkdownCodec::parse(text);
    for (auto _ : state) {
        benchmark::DoNotOptimize(MarkdownCodec::serialize(blocks));
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(text.size()));
}
BENCHMARK(BM_CodecSerialize)->Arg(1000)->Arg(5000)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
