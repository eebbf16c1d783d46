#include "decoder/formats/png/png_metadata.h"

#include <algorithm>
#include <utility>

// zlib's own switch for an input that it only reads.
#define ZLIB_CONST
#include <zlib.h>

#include "decoder/formats/exif.h"
#include "decoder/input/number_reader.h"

namespace sorvane::decoder {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint8_t lastRenderingIntent = 3;
constexpr std::size_t maxProfileName = 79;

std::optional<Bytes> chunkData(const std::vector<PngChunk>& chunks, std::string_view name) {
    const auto found = std::ranges::find(chunks, name, &PngChunk::name);
    if (found == chunks.end()) return std::nullopt;
    return found->data;
}

/// A zlib stream, inflated only as far as its reader asks.
class Inflater {
  public:
    explicit Inflater(Bytes compressed) {
        stream_.next_in = compressed.data();
        stream_.avail_in = static_cast<uInt>(compressed.size());
        ready_ = inflateInit(&stream_) == Z_OK;
    }
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;
    ~Inflater() { inflateEnd(&stream_); }

    /// False when the stream does not hold that much more.
    bool fill(std::span<std::uint8_t> to) {
        stream_.next_out = to.data();
        stream_.avail_out = static_cast<uInt>(to.size());
        if (ready_) inflate(&stream_, Z_SYNC_FLUSH);
        return stream_.avail_out == 0;
    }

  private:
    z_stream stream_{};
    bool ready_ = false;
};

// A profile begins with its own length: no more is inflated than that, and no more than the limit.
std::optional<IccProfile> inflatedProfile(Bytes compressed) {
    Inflater inflater(compressed);
    std::vector<std::uint8_t> profile(4);
    if (!inflater.fill(profile)) return std::nullopt;
    const std::uint32_t length = *NumberReader(profile, ByteOrder::big).u32(0);
    if (length < profile.size() || length > maxProfileBytes) return std::nullopt;
    profile.resize(length);
    if (!inflater.fill(std::span(profile).subspan(4))) return std::nullopt;
    return IccProfile{std::move(profile)};
}

// Name, a zero byte, the compression method (always 0), the zlib stream.
std::optional<IccProfile> readProfile(Bytes chunk) {
    const Bytes name = chunk.first(std::min(chunk.size(), maxProfileName + 1));
    const auto end = static_cast<std::size_t>(std::ranges::find(name, 0) - name.begin());
    if (end == name.size() || end + 2 > chunk.size() || chunk[end + 1] != 0) return std::nullopt;
    return inflatedProfile(chunk.subspan(end + 2));
}

std::optional<GammaAndPrimaries> readGammaAndPrimaries(Bytes gamma, Bytes chromaticities) {
    GammaAndPrimaries said;
    if (gamma.size() != 4 || chromaticities.size() != 4 * said.chromaticities.size())
        return std::nullopt;
    said.gamma = *NumberReader(gamma, ByteOrder::big).u32(0);
    const NumberReader numbers(chromaticities, ByteOrder::big);
    for (std::size_t i = 0; i < said.chromaticities.size(); ++i)
        said.chromaticities[i] = *numbers.u32(4 * i);
    return said;
}

} // namespace

ColourStatements pngColour(const std::vector<PngChunk>& chunks) {
    ColourStatements statements;
    if (const auto chunk = chunkData(chunks, "iCCP"))
        if (auto profile = readProfile(*chunk)) statements.emplace_back(std::move(*profile));
    if (const auto intent = chunkData(chunks, "sRGB"))
        if (intent->size() == 1 && intent->front() <= lastRenderingIntent)
            statements.emplace_back(DeclaredSrgb{});
    const auto gamma = chunkData(chunks, "gAMA");
    const auto chromaticities = chunkData(chunks, "cHRM");
    if (gamma && chromaticities)
        if (const auto said = readGammaAndPrimaries(*gamma, *chromaticities))
            statements.emplace_back(*said);
    return statements;
}

std::optional<Orientation> pngOrientation(const std::vector<PngChunk>& chunks) {
    const auto exif = chunkData(chunks, "eXIf");
    if (!exif) return std::nullopt;
    return exifOrientation(*exif);
}

} // namespace sorvane::decoder
