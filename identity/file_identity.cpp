#include "identity/file_identity.h"

#include <optional>
#include <span>

#include "identity/image_formats.h"
#include "identity/pixel_child.h"
#include "identity/sha256.h"
#include "support/file_reader.h"

namespace sorvane::HelperIO {

namespace {

// Read, handed on and hashed while it is still in the processor's cache.
constexpr std::size_t pieceSize = 131'072;

} // namespace

std::string sha256(std::string_view data) {
    Sha256 digest;
    digest.update(data);
    return digest.hex();
}

nlohmann::json attachmentIdentity(const std::filesystem::path& file) {
    FileReader reader(file);
    std::string buffer(pieceSize, '\0');
    const auto nextPiece = [&] {
        return std::string_view(buffer).substr(0, reader.read(std::span(buffer)));
    };

    Sha256 digest;
    std::optional<PixelChild> child;
    std::string_view piece = nextPiece();
    if (const auto format = imageFormat(piece)) child.emplace(format->program);
    for (; !piece.empty(); piece = nextPiece()) {
        if (child) child->pour(piece);
        digest.update(piece);
    }

    nlohmann::json identity = {{"sha256", digest.hex()}};
    if (const auto pixels = child ? child->answer() : std::nullopt) {
        identity["pixelHash"] = pixels->hash;
        identity["pixelWidth"] = pixels->width;
        identity["pixelHeight"] = pixels->height;
    }
    return identity;
}

} // namespace sorvane::HelperIO
