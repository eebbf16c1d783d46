#pragma once

#include <chrono>
#include <concepts>
#include <filesystem>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

/// Digests and identities of bytes and files. A digest text is a SHA-256 in 64 lower-case
/// hexadecimal digits.
namespace sorvane::HelperIO {

std::string sha256(std::string_view data);

/// The digest of a file's bytes, which are read in pieces. Throws std::system_error when the file
/// cannot be read. The template takes exactly std::filesystem::path: a text is data.
std::string sha256OfFile(const std::filesystem::path& file);
std::string sha256(const std::same_as<std::filesystem::path> auto& file) {
    return sha256OfFile(file);
}

/// The identity by which the application may know a file: "sha256" of its bytes, always; and, when
/// it is a picture that can be decoded, "pixelHash" of its upright pixels with "pixelWidth" and
/// "pixelHeight" as the file declares them, the three together. The same pieces of the file serve
/// both digests, and are read once; twice where only the end of a file tells how its picture is
/// turned. The pixels are decoded in another process, which has 10 seconds, and no time beyond the
/// deadline. The digest of the bytes is never given up.
/// Throws std::system_error when the file cannot be read, and only then.
nlohmann::json attachmentIdentity(const std::filesystem::path& file,
                                  std::chrono::steady_clock::time_point decodingDeadline =
                                      std::chrono::steady_clock::time_point::max());

} // namespace sorvane::HelperIO
