#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

namespace sorvane::standin {

/// A picture of the directory, as it was when the directory was indexed.
struct Picture {
    std::filesystem::path file;
    std::string digest;      ///< of the file's bytes: its "assetID" and its "sha256"
    std::string pixelDigest; ///< its "pixelHash"; empty when the file has no pixel identity; then
                             ///< there is no size
    std::optional<std::int64_t> width;
    std::optional<std::int64_t> height;

    std::string_view uti;
    std::string_view extension;
};

/// The pictures in the stand-in's history: the regular files of one directory.
class Pictures {
  public:
    Pictures() = default;

    /// Reads every file once. Throws what the file system and the file reader throw.
    explicit Pictures(const std::filesystem::path& directory);

    /// The picture that an identity means: by its "assetID", else by its "sha256", else by its
    /// "pixelHash" together with "pixelWidth" and "pixelHeight". Null when there is none.
    const Picture* find(const nlohmann::json& identity) const;

  private:
    std::vector<Picture> pictures_;
};

/// Copies a picture's file into the workspace and gives its path relative to the workspace. The
/// same file found there is left alone; links inside the workspace are not followed. Throws
/// std::runtime_error, and copies nothing, when the workspace is no absolute path of an existing
/// directory, `.sorvane` in it is anything but a directory, the file is no longer what was indexed,
/// or the file system refuses.
std::string copyInto(const std::filesystem::path& workspace, const Picture& picture);

} // namespace sorvane::standin
