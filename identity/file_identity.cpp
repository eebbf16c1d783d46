#include "identity/file_identity.h"

#include <optional>
#include <span>

#include "identity/decoder_process.h"
#include "identity/decoder_program.h"
#include "support/file_reader.h"
#include "support/sha256.h"

namespace sorvane::HelperIO {

namespace {

// Small enough to be written to the decoder and hashed while it is in the processor's cache.
constexpr std::size_t pieceSize = 131'072;

/// A file in pieces; an empty one is its end. Each lasts until the next is asked for.
class PieceReader {
  public:
    explicit PieceReader(const std::filesystem::path& file) : reader_(file) {}

    std::string_view next() {
        return std::string_view(buffer_).substr(0, reader_.read(std::span(buffer_)));
    }

  private:
    FileReader reader_;
    std::string buffer_ = std::string(pieceSize, '\0');
};

} // namespace

std::string sha256(std::string_view data) { return Sha256::hexOf(data); }

std::string sha256OfFile(const std::filesystem::path& file) {
    PieceReader reader(file);
    Sha256 digest;
    for (auto piece = reader.next(); !piece.empty(); piece = reader.next()) digest.update(piece);
    return digest.hex();
}

nlohmann::json attachmentIdentity(const std::filesystem::path& file,
                                  std::chrono::steady_clock::time_point decodingDeadline) {
    PieceReader reader(file);
    Sha256 digest;
    std::optional<DecoderProcess> decoder;
    std::string_view piece = reader.next();
    if (const auto program = decoderProgramFor(piece)) decoder.emplace(*program, decodingDeadline);
    for (; !piece.empty(); piece = reader.next()) {
        if (decoder) decoder->write(piece);
        digest.update(piece);
    }

    nlohmann::json identity = {{"sha256", digest.hex()}};
    if (const auto pixels = decoder ? decoder->answer() : std::nullopt) {
        identity["pixelHash"] = pixels->digest;
        identity["pixelWidth"] = pixels->width;
        identity["pixelHeight"] = pixels->height;
    }
    return identity;
}

} // namespace sorvane::HelperIO
