#include "core/FrontmatterSyncOverride.h"

#include <vector>

namespace mnemora::core::FrontmatterSyncOverride {

namespace {

std::string_view trimBlanksAndTabs(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

// Lines end at LF, CR LF or a lone CR alike; the empty pieces a CR LF leaves hold no key.
std::vector<std::string_view> lines(std::string_view text) {
    std::vector<std::string_view> pieces;
    std::size_t start = 0;
    for (auto at = text.find_first_of("\r\n"); at != std::string_view::npos;
         at = text.find_first_of("\r\n", start)) {
        pieces.push_back(text.substr(start, at - start));
        start = at + 1;
    }
    pieces.push_back(text.substr(start));
    return pieces;
}

std::vector<std::string_view> split(std::string_view text, std::string_view separator) {
    std::vector<std::string_view> pieces;
    std::size_t start = 0;
    for (auto at = text.find(separator); at != std::string_view::npos;
         at = text.find(separator, start)) {
        pieces.push_back(text.substr(start, at - start));
        start = at + separator.size();
    }
    pieces.push_back(text.substr(start));
    return pieces;
}

} // namespace

std::optional<SyncOverride> parse(std::string_view content) {
    const std::vector<std::string_view> pieces = split(content, "---");
    if (pieces.size() < 3) {
        return std::nullopt;
    }
    for (std::string_view line : lines(pieces[1])) {
        line = trimBlanksAndTabs(line);
        const auto colon = line.find(':');
        if (colon == std::string_view::npos || trimBlanksAndTabs(line.substr(0, colon)) != "sync") {
            continue;
        }
        const std::string_view value = trimBlanksAndTabs(line.substr(colon + 1));
        if (value == "cloudkit") {
            return SyncOverride::enabled;
        }
        if (value == "false") {
            return SyncOverride::disabled;
        }
        return std::nullopt;
    }
    return std::nullopt;
}

} // namespace mnemora::core::FrontmatterSyncOverride
