#pragma once

#include "core/SqliteSidecarStore.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>

// A sidecar store on a file in a fresh temporary folder, as the application keeps one; the folder
// is removed afterwards. When no folder can be made the benchmark is skipped and `store()` is
// null.
class FileSidecar {
public:
    explicit FileSidecar(benchmark::State& state) {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "sidecar-bench-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            state.SkipWithError("no temporary folder");
            return;
        }
        folder_ = pattern;
        store_.emplace((folder_ / "synced-docs.sqlite").string());
    }
    ~FileSidecar() {
        store_.reset();
        if (!folder_.empty()) {
            std::filesystem::remove_all(folder_);
        }
    }
    FileSidecar(const FileSidecar&) = delete;
    FileSidecar& operator=(const FileSidecar&) = delete;

    mnemora::core::SqliteSidecarStore* store() { return store_ ? &*store_ : nullptr; }

private:
    std::filesystem::path folder_;
    std::optional<mnemora::core::SqliteSidecarStore> store_;
};
