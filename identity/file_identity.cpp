#include "identity/file_identity.h"

#include <optional>
#include <span>
#include <string>
#include <system_error>
#include <variant>
#include <vector>

#include "identity/decoder_process.h"
#include "identity/decoder_program.h"
#include "support/file_reader.h"
#include "support/sha256.h"

namespace sorvane::HelperIO {

namespace {

// Small enough to be written to the decoder and digested while it is in the processor's cache.
constexpr std::size_t pieceSize = 131'072;

/// A file in pieces; an empty one is its end. Each lasts until the next is asked for.
class PieceReader {
  public:
    explicit PieceReader(const std::filesystem::path& file) : reader_(file) {}

    bool rewind() { return reader_.rewind(); }

    std::string_view next() {
        return std::string_view(buffer_).substr(0, reader_.read(std::span(buffer_)));
    }

  private:
    FileReader reader_;
    std::string buffer_ = std::string(pieceSize, '\0');
};

using Clock = DecoderProcess::Clock;

/// What a file comes to that is read from its beginning to its end.
struct Reading {
    std::string sha256;
    std::optional<DecoderAnswer> answer;
    /// Until when its decoder had time.
    Clock::time_point deadline;
};

Reading readWithDecoder(PieceReader& reader, Clock::time_point deadline,
                        const std::vector<std::string>& words) {
    Sha256 digest;
    std::optional<DecoderProcess> decoder;
    std::string_view piece = reader.next();
    if (const auto program = decoderProgramFor(piece)) decoder.emplace(*program, deadline, words);
    for (; !piece.empty(); piece = reader.next()) {
        if (decoder) decoder->write(piece);
        digest.update(piece);
    }
    Reading reading{digest.hex(), std::nullopt, deadline};
    if (!decoder) return reading;
    reading.deadline = decoder->deadline();
    reading.answer = decoder->answer();
    return reading;
}

// A file that tells after its pixels how they are turned is decoded once more, within the time of
// the first decoding. One that has been changed in between is another picture.
void decodeTurned(PieceReader& reader, Reading& reading) {
    const auto* late = reading.answer ? std::get_if<LateOrientation>(&*reading.answer) : nullptr;
    if (late == nullptr || !reader.rewind()) return;
    try {
        Reading again = readWithDecoder(reader, reading.deadline, {std::to_string(late->number)});
        if (again.sha256 == reading.sha256) reading.answer = std::move(again.answer);
    } catch (const std::system_error&) {
        // Its bytes have been digested.
    }
}

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
    Reading reading = readWithDecoder(reader, decodingDeadline, {});
    decodeTurned(reader, reading);

    nlohmann::json identity = {{"sha256", reading.sha256}};
    if (const auto* pixels =
            reading.answer ? std::get_if<PixelIdentity>(&*reading.answer) : nullptr) {
        identity["pixelHash"] = pixels->digest;
        identity["pixelWidth"] = pixels->width;
        identity["pixelHeight"] = pixels->height;
    }
    return identity;
}

} // namespace sorvane::HelperIO
