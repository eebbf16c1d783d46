#include "decoder/formats/png/png_trailer.h"

#include <utility>

namespace sorvane::decoder {

namespace {

// The case of a chunk's first letter tells whether a reader may pass over what it does not know.
bool isCritical(std::string_view name) { return name.front() >= 'A' && name.front() <= 'Z'; }

// A palette that comes too late adds nothing; pixel data apart from the others are damage.
bool mayStandBehind(std::string_view name, bool paletteSeen) {
    return !isCritical(name) || name == "IEND" || (name == "PLTE" && !paletteSeen);
}

void readOrientation(PngChunks& chunks, std::size_t longest, PngEnd& end) {
    std::vector<std::uint8_t> data;
    const bool kept = !end.orientation && chunks.length() <= longest;
    if (kept)
        for (auto piece = chunks.take(); !piece.empty(); piece = chunks.take())
            data.insert(data.end(), piece.begin(), piece.end());
    if (!chunks.close()) end.orientationDamaged = true;
    if (kept) end.orientation = std::move(data);
}

} // namespace

std::optional<PngEnd> readPngEnd(PngChunks& chunks, bool paletteSeen, std::size_t longest) {
    do {
        if (!chunks.close() || !chunks.next()) return std::nullopt;
    } while (chunks.name() == "IDAT");
    PngEnd end;
    do {
        if (!mayStandBehind(chunks.name(), paletteSeen)) return std::nullopt;
        if (chunks.name() == "eXIf")
            readOrientation(chunks, longest, end);
        else if (!chunks.close() && isCritical(chunks.name()))
            return std::nullopt;
        if (chunks.name() == "IEND") return end;
    } while (chunks.next());
    return std::nullopt;
}

} // namespace sorvane::decoder
