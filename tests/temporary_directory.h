#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include <unistd.h>

namespace sorvane::test {

/// A directory of a test's own, removed with everything in it at the end.
class TemporaryDirectory {
  public:
    TemporaryDirectory() {
        // Not in TMPDIR: that may be long, and a socket's path must stay within some 100 bytes.
        std::string pattern = "/tmp/sorvane-XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("no temporary directory");
        path_ = pattern;
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    const std::filesystem::path& path() const { return path_; }

  private:
    std::filesystem::path path_;
};

inline void putFile(const std::filesystem::path& path, std::string_view content) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

/// Whether a file may have this name in a directory: some file systems want names to be UTF-8.
inline bool takesName(const std::filesystem::path& directory, std::string_view name) {
    const std::filesystem::path path = directory / name;
    if (!std::ofstream(path)) return false;
    std::filesystem::remove(path);
    return true;
}

inline std::string fileContent(const std::filesystem::path& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

/// The names of everything in a directory.
inline std::set<std::string> namesIn(const std::filesystem::path& directory) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory))
        names.insert(entry.path().filename().native());
    return names;
}

} // namespace sorvane::test
