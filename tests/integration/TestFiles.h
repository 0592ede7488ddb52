#pragma once

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdlib.h>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace ostrelvan::testing {

// A fresh folder under the system's temporary folder, removed with everything in it.
class TempDir {
public:
    TempDir() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "ostrelvan-test-XXXXXX").string();
        path_ = ::mkdtemp(pattern.data());
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    ~TempDir() {
        // Tests make folders read-only; give them back before removing everything.
        std::error_code ignored;
        const auto writable = [&](const std::filesystem::path& folder) {
            std::filesystem::permissions(folder, std::filesystem::perms::owner_all,
                                         std::filesystem::perm_options::add, ignored);
        };
        writable(path_);
        for (auto it = std::filesystem::recursive_directory_iterator(path_, ignored);
             it != std::filesystem::recursive_directory_iterator(); it.increment(ignored))
            if (it->is_directory(ignored) && !it->is_symlink(ignored))
                writable(it->path());
        std::filesystem::remove_all(path_, ignored);
    }
    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

inline std::string readBytes(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void writeBytes(const std::filesystem::path& path, std::string_view bytes) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
}

// Names in a folder, sorted, so that stray temporaries show up in a comparison.
inline std::string listing(const std::filesystem::path& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    std::string text;
    for (const auto& name : names)
        text += name + "\n";
    return text;
}

} // namespace ostrelvan::testing
