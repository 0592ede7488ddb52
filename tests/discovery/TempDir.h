#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>

// A fresh folder under the system's temporary folder, removed with everything in it.
struct TempDir {
    TempDir() {
        auto pattern = (std::filesystem::temp_directory_path() / "ostrelvan-XXXXXX").string();
        if (!::mkdtemp(pattern.data())) {
            throw std::runtime_error("mkdtemp failed");
        }
        root = pattern;
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }
    const std::filesystem::path& path() const { return root; }
    std::filesystem::path root;
};

inline void writeFile(const std::filesystem::path& path, std::string_view content) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
}
