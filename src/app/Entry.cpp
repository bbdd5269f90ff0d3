#include "app/Entry.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "platform/ProcessReplace.h"

namespace mnemora::Entry {

bool isDaemonSubcommand(std::string_view word) {
    static constexpr std::array<std::string_view, 13> words{
        "transcribe", "export-progress", "parse-time-logs",
        "stats",      "caption",         "mcp-server",
        "daemon",     "fetch-cloud-ids", "help",
        "-h",         "--help",          "-V",
        "--version"};
    return std::find(words.begin(), words.end(), word) != words.end();
}

std::optional<std::string> findDaemonExecutable(const std::string& folder) {
    namespace fs = std::filesystem;
    std::error_code error;
    fs::directory_iterator it(folder, error);
    if (error) {
        return std::nullopt;
    }
    std::vector<fs::path> candidates;
    for (; it != fs::directory_iterator(); it.increment(error)) {
        if (error) {
            return std::nullopt;
        }
        const std::string name = it->path().filename().string();
        if (name.size() >= 7 && name.compare(name.size() - 7, 7, "-daemon") == 0) {
            candidates.push_back(it->path());
        }
    }
    std::sort(candidates.begin(), candidates.end());
    for (const fs::path& candidate : candidates) {
        if (fs::is_regular_file(candidate, error) && ::access(candidate.c_str(), X_OK) == 0) {
            return candidate.string();
        }
    }
    return std::nullopt;
}

std::optional<int> dispatch(int argc, char** argv, const std::string& executableFolder) {
    if (argc < 2 || !isDaemonSubcommand(argv[1])) {
        return std::nullopt;
    }
    const std::optional<std::string> target = findDaemonExecutable(executableFolder);
    if (!target) {
        return std::nullopt;
    }
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    const std::string reason = replaceProcess(*target, arguments);
    std::fprintf(stderr, "Failed to exec %s: %s\n", target->c_str(), reason.c_str());
    return 127;
}

} // namespace mnemora::Entry
