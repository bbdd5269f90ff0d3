// Feeds arbitrary bytes to the Markdown codec. Fails when a document does not come back byte for
// byte, when a block's line differs from the line it was read from, or when reading the written
// text again gives other content.
#include "core/MarkdownCodec.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

using namespace mnemora::core;

namespace {

void check(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "codec round trip broken: %s\n", what);
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    std::vector<MarkdownCodec::Degradation> degradations;
    const std::vector<Block> blocks = MarkdownCodec::parse(text, degradations);
    const std::string written = MarkdownCodec::serialize(blocks);
    check(written == text, "serialize(parse(text)) != text");
    check(degradations.size() <= blocks.size(), "more degradations than lines");

    std::size_t start = 0;
    for (const Block& block : blocks) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        check(MarkdownCodec::serializeLine(block) == text.substr(start, end - start),
              "a block's line differs from the line it was read from");
        start = end + 1;
    }

    const std::vector<Block> again = MarkdownCodec::parse(written);
    check(again.size() == blocks.size(), "second reading has another line count");
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        check(again[i].hasSameContent(blocks[i]), "second reading gives other content");
    }
    return 0;
}
