#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

// A fresh folder under the system's temporary folder for one benchmark, removed afterwards.
// `path()` is empty when none could be made.
class TempFolder {
public:
    explicit TempFolder(const std::string& prefix = "bench") {
        std::string pattern =
            (std::filesystem::temp_directory_path() / (prefix + "-XXXXXX")).string();
        if (mkdtemp(pattern.data()) != nullptr) {
            path_ = pattern;
        }
    }
    ~TempFolder() {
        if (!path_.empty()) {
            std::filesystem::remove_all(path_);
        }
    }
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};
