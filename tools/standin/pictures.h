#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

namespace sorvane::standin {

/// A picture of the folder, as it was when the folder was indexed.
struct Picture {
    std::filesystem::path file;
    std::string assetHash; ///< digest text of the file's bytes: its asset hash and its "sha256"
    std::string pixelHash; ///< empty when the file has no pixel identity; then there is no size
    std::optional<std::int64_t> width;
    std::optional<std::int64_t> height;

    std::string_view uti;
    std::string_view extension;
};

/// The pictures that the application is taken to hold: the regular files of one folder.
class Pictures {
  public:
    Pictures() = default;

    /// Reads every file once. Throws what the file system and the file reader throw.
    explicit Pictures(const std::filesystem::path& folder);

    /// The picture that an identity means: by its "assetID", else by its "sha256", else by its
    /// "pixelHash" together with "pixelWidth" and "pixelHeight". Null when there is none.
    const Picture* find(const nlohmann::json& identity) const;

  private:
    std::vector<Picture> pictures_;
};

/// Puts a picture's original into the workspace, byte for byte, and gives its path seen from there.
/// The same file found there is left alone; links inside the workspace are not followed.
/// Throws std::runtime_error, with nothing put there, when the workspace is no absolute path of an
/// existing directory, its folder for pictures is anything but a directory, the original is no
/// longer what was indexed, or the file system refuses.
std::string place(const Picture& picture, const std::filesystem::path& workspace);

} // namespace sorvane::standin
