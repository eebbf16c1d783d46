#include "decoder/formats/png/png_trailer.h"

#include <utility>

namespace sorvane::decoder {

namespace {

// The case of a chunk's first letter tells whether a reader may skip what it does not know.
bool isCritical(std::string_view name) { return name.front() >= 'A' && name.front() <= 'Z'; }

// A palette after the pixels is ignored when there is none before them; more pixel data, apart from
// the others, are damage.
bool mayFollowPixels(std::string_view name, bool paletteSeen) {
    return !isCritical(name) || name == "IEND" || (name == "PLTE" && !paletteSeen);
}

void readExif(PngChunks& chunks, std::size_t maxLength, PngTrailer& trailer) {
    std::vector<std::uint8_t> data;
    const bool kept = !trailer.exif && chunks.length() <= maxLength;
    if (kept)
        for (auto piece = chunks.take(); !piece.empty(); piece = chunks.take())
            data.insert(data.end(), piece.begin(), piece.end());
    if (!chunks.close()) trailer.exifDamaged = true;
    if (kept) trailer.exif = std::move(data);
}

} // namespace

std::optional<PngTrailer> readPngTrailer(PngChunks& chunks, bool paletteSeen,
                                         std::size_t maxLength) {
    do {
        if (!chunks.close() || !chunks.next()) return std::nullopt;
    } while (chunks.name() == "IDAT");
    PngTrailer trailer;
    do {
        if (!mayFollowPixels(chunks.name(), paletteSeen)) return std::nullopt;
        if (chunks.name() == "eXIf")
            readExif(chunks, maxLength, trailer);
        else if (!chunks.close() && isCritical(chunks.name()))
            return std::nullopt;
        if (chunks.name() == "IEND") return trailer;
    } while (chunks.next());
    return std::nullopt;
}

} // namespace sorvane::decoder
