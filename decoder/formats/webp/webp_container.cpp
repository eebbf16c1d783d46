#include "decoder/formats/webp/webp_container.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include <webp/decode.h>

#include "decoder/formats/exif.h"
#include "decoder/formats/webp/riff_chunks.h"

namespace sorvane::decoder {

namespace {

// The flags of the extended header.
constexpr unsigned profileAnnounced = 0x20;
constexpr unsigned exifAnnounced = 0x08;

// No more of Exif data is read. The orientation stands in their first directory, and a JPEG could
// carry only 64 KiB of them.
constexpr std::size_t maxExifLength = std::size_t{16} << 20;

constexpr std::size_t chunkHeaderSize = 8;

// The part of a chunk of pixels that holds their size.
constexpr std::size_t pixelHeaderSize = 10;

std::uint32_t u24(std::span<const std::uint8_t> bytes, std::size_t offset) {
    return bytes[offset] | std::uint32_t{bytes[offset + 1]} << 8 |
           std::uint32_t{bytes[offset + 2]} << 16;
}

std::uint64_t pixelsOf(Size size) { return std::uint64_t{size.width} * size.height; }

void writeHeader(std::uint8_t* to, const RiffChunk& chunk, std::size_t size) {
    std::ranges::copy(chunk.letters, to);
    for (unsigned i = 0; i < 4; ++i) to[4 + i] = static_cast<std::uint8_t>(size >> 8 * i);
}

// The size of the pixels in a chunk that begins so.
std::optional<Size> pixelSize(std::span<const std::uint8_t> chunk) {
    WebPBitstreamFeatures features;
    if (WebPGetFeatures(chunk.data(), chunk.size(), &features) != VP8_STATUS_OK)
        return std::nullopt;
    return Size{static_cast<std::uint32_t>(features.width),
                static_cast<std::uint32_t>(features.height)};
}

class ContainerReader {
  public:
    explicit ContainerReader(RiffChunks& file) : file_(file) {}

    std::optional<WebpPicture> read();

  private:
    // What a chunk meant for the search for the picture.
    enum class Found { nothing, picture, damage };

    Found take(const RiffChunk& chunk);
    Found takeHeader();
    Found takeFrame();
    Found takePixels(RiffChunks& from, const RiffChunk& chunk);
    Found keepAlpha(RiffChunks& from, const RiffChunk& chunk);
    Found keepColours(RiffChunks& from, const RiffChunk& chunk);
    void takeProfile(const RiffChunk& chunk);
    void takeExif(const RiffChunk& chunk);

    bool announced(unsigned flag) const { return (flags_ & flag) != 0; }

    RiffChunks& file_;
    WebpPicture picture_;
    bool extended_ = false;
    unsigned flags_ = 0;
    std::optional<Orientation> orientation_;
    std::unique_ptr<std::uint8_t[]> alpha_;
    std::size_t alphaSize_ = 0;
};

std::optional<WebpPicture> ContainerReader::read() {
    Found found = Found::nothing;
    while (found != Found::picture) {
        const auto chunk = file_.next();
        if (!chunk) return std::nullopt;
        found = take(*chunk);
        if (found == Found::damage) return std::nullopt;
    }
    while (announced(exifAnnounced) && !orientation_) {
        const auto chunk = file_.next();
        if (!chunk && file_.cut()) return std::nullopt;
        if (!chunk) break;
        if (chunk->name() == "EXIF") takeExif(*chunk);
    }
    picture_.orientation = orientation_.value_or(Orientation::upright);
    return std::move(picture_);
}

ContainerReader::Found ContainerReader::take(const RiffChunk& chunk) {
    const std::string_view name = chunk.name();
    if (name == "VP8X" && !extended_) return takeHeader();
    if (name == "ANMF" && extended_) return takeFrame();
    if (name == "ICCP" && announced(profileAnnounced)) takeProfile(chunk);
    if (name == "EXIF" && announced(exifAnnounced)) takeExif(chunk);
    return takePixels(file_, chunk);
}

// Flags, three reserved bytes, the canvas; each side is stored less one.
ContainerReader::Found ContainerReader::takeHeader() {
    std::array<std::uint8_t, 10> header;
    if (file_.read(header) != header.size()) return Found::damage;
    extended_ = true;
    flags_ = header[0];
    picture_.canvas = {u24(header, 4) + 1, u24(header, 7) + 1};
    picture_.frame = picture_.canvas;
    return withinBudget(picture_.canvas) ? Found::nothing : Found::damage;
}

// Half of the frame's position, its size less one, its duration and flags; then chunks of its own.
ContainerReader::Found ContainerReader::takeFrame() {
    std::array<std::uint8_t, 16> header;
    if (file_.read(header) != header.size()) return Found::damage;
    picture_.corner = {2 * u24(header, 0), 2 * u24(header, 3)};
    picture_.frame = {u24(header, 6) + 1, u24(header, 9) + 1};
    if (!withinBudget(picture_.frame)) return Found::damage;
    RiffChunks chunks(file_);
    while (const auto chunk = chunks.next())
        if (const Found found = takePixels(chunks, *chunk); found != Found::nothing) return found;
    return Found::damage;
}

ContainerReader::Found ContainerReader::takePixels(RiffChunks& from, const RiffChunk& chunk) {
    if (chunk.name() == "ALPH" && extended_ && !alpha_) return keepAlpha(from, chunk);
    if (chunk.name() == "VP8 " || chunk.name() == "VP8L") return keepColours(from, chunk);
    return Found::nothing;
}

ContainerReader::Found ContainerReader::keepAlpha(RiffChunks& from, const RiffChunk& chunk) {
    const std::size_t kept =
        std::min<std::size_t>(chunk.size, maxAlphaChunk(pixelsOf(picture_.frame)));
    alphaSize_ = chunkHeaderSize + kept + kept % 2;
    alpha_ = std::make_unique_for_overwrite<std::uint8_t[]>(alphaSize_);
    alpha_[alphaSize_ - 1] = 0;
    writeHeader(alpha_.get(), chunk, kept);
    const std::size_t came = from.read({alpha_.get() + chunkHeaderSize, kept});
    return came == kept ? Found::nothing : Found::damage;
}

ContainerReader::Found ContainerReader::keepColours(RiffChunks& from, const RiffChunk& chunk) {
    std::array<std::uint8_t, chunkHeaderSize + pixelHeaderSize> begin{};
    writeHeader(begin.data(), chunk, chunk.size);
    const std::size_t header = from.read(std::span(begin).subspan(chunkHeaderSize));
    const auto size = pixelSize(std::span(begin).first(chunkHeaderSize + header));
    if (!size || !withinBudget(*size)) return Found::damage;
    if (!extended_) picture_.canvas = picture_.frame = *size;
    if (*size != picture_.frame) return Found::damage;

    // Chunks of alpha belong to the lossy kind alone; the other has its own.
    const std::size_t before = chunk.name() == "VP8 " ? alphaSize_ : 0;
    const std::size_t kept = std::min<std::size_t>(chunk.size, maxColourChunk(pixelsOf(*size)));
    picture_.chunksSize = before + chunkHeaderSize + kept;
    picture_.chunks = std::make_unique_for_overwrite<std::uint8_t[]>(picture_.chunksSize);
    std::uint8_t* to = std::copy_n(alpha_.get(), before, picture_.chunks.get());
    to = std::copy_n(begin.begin(), chunkHeaderSize + header, to);
    writeHeader(to - header - chunkHeaderSize, chunk, kept);
    return from.read({to, kept - header}) == kept - header ? Found::picture : Found::damage;
}

void ContainerReader::takeProfile(const RiffChunk& chunk) {
    if (!picture_.colour.empty() || chunk.size > maxProfileBytes) return;
    IccProfile profile{std::vector<std::uint8_t>(chunk.size)};
    if (file_.read(profile.bytes) == chunk.size) picture_.colour.emplace_back(std::move(profile));
}

// Some writers put the prefix before the data that they have in a JPEG. Data that are cut short do
// not count; the search then goes on and finds the end of the file.
void ContainerReader::takeExif(const RiffChunk& chunk) {
    if (orientation_) return;
    std::vector<std::uint8_t> bytes(std::min<std::size_t>(chunk.size, maxExifLength));
    if (file_.read(bytes) != bytes.size()) return;
    const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const std::size_t prefix = text.starts_with(exifPrefix) ? exifPrefix.size() : 0;
    orientation_ = exifOrientation(std::span(bytes).subspan(prefix));
}

} // namespace

std::optional<WebpPicture> readWebpContainer(ByteSource& file) {
    std::array<std::uint8_t, 12> header;
    constexpr std::string_view form = "WEBP";
    if (file.read(header) != header.size()) return std::nullopt;
    const std::uint32_t size = u24(header, 4) | std::uint32_t{header[7]} << 24;
    if (size < form.size()) return std::nullopt;
    RiffChunks chunks(file, size - form.size());
    return ContainerReader(chunks).read();
}

} // namespace sorvane::decoder
