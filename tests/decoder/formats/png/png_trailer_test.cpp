#include "decoder/formats/png/png_trailer.h"

#include <algorithm>

#include <doctest/doctest.h>

#include "tests/decoder/formats/png/png_bytes.h"
#include "tests/decoder/input_file.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

constexpr std::size_t maxLength = 10;

const Bytes end = pngChunk("IEND");
const Bytes exif = pngChunk("eXIf", {1, 2, 3});

Bytes damaged(Bytes chunk) {
    chunk.back() ^= 1;
    return chunk;
}

// Begins in a chunk of pixels, of which nothing has been read.
std::optional<PngTrailer> trailer(const Bytes& rest, bool paletteSeen = false) {
    const Bytes pixels = pngChunk("IDAT", {7, 7, 7, 7});
    PngChunkHeader header;
    const auto data = pixels.begin() + static_cast<std::ptrdiff_t>(header.size());
    std::copy(pixels.begin(), data, header.begin());
    InputFile file(joined({Bytes(data, pixels.end()), rest}));
    PngChunks chunks(file.source(), header);
    return readPngTrailer(chunks, paletteSeen, maxLength);
}

} // namespace

TEST_CASE("a picture ends with its end chunk, after any number of pixel chunks") {
    for (const Bytes& before :
         {Bytes{}, pngChunk("IDAT", {1}), joined({pngChunk("IDAT"), pngChunk("IDAT", {1, 2})}),
          pngChunk("tEXt", {1}), pngChunk("abCd")}) {
        const auto read = trailer(joined({before, end}));
        REQUIRE(read);
        CHECK_FALSE(read->exif);
        CHECK_FALSE(read->exifDamaged);
        CHECK_FALSE(trailer(before));
    }
    CHECK(trailer(joined({end, bytes("whatever follows")})));
}

TEST_CASE("pixel chunks apart from the others are damage") {
    CHECK_FALSE(trailer(joined({pngChunk("tEXt"), pngChunk("IDAT"), end})));
}

TEST_CASE("a critical chunk that is not known, or damaged, is damage") {
    CHECK_FALSE(trailer(joined({pngChunk("ABcd"), end})));
    CHECK_FALSE(trailer(damaged(end)));
    CHECK_FALSE(trailer(joined({damaged(pngChunk("IDAT")), end})));
    CHECK(trailer(joined({damaged(pngChunk("tEXt")), end})));
}

TEST_CASE("a palette may come late, but not twice") {
    const Bytes palette = pngChunk("PLTE", {1, 2, 3});
    CHECK(trailer(joined({palette, end}), false));
    CHECK_FALSE(trailer(joined({palette, end}), true));
    CHECK_FALSE(trailer(joined({damaged(palette), end}), false));
}

TEST_CASE("the first Exif data that are not too long are kept") {
    CHECK(trailer(joined({exif, end}))->exif == Bytes{1, 2, 3});
    CHECK(trailer(joined({exif, pngChunk("eXIf", {9}), end}))->exif == Bytes{1, 2, 3});
    CHECK(trailer(joined({pngChunk("eXIf", Bytes(maxLength, 5)), end}))->exif ==
          Bytes(maxLength, 5));
    const Bytes tooLong = pngChunk("eXIf", Bytes(maxLength + 1));
    CHECK_FALSE(trailer(joined({tooLong, end}))->exif);
    CHECK(trailer(joined({tooLong, exif, end}))->exif == Bytes{1, 2, 3});
}

TEST_CASE("damage to any Exif chunk is told") {
    CHECK_FALSE(trailer(joined({exif, end}))->exifDamaged);
    CHECK(trailer(joined({damaged(exif), end}))->exifDamaged);
    CHECK(trailer(joined({exif, damaged(exif), end}))->exifDamaged);
}

TEST_CASE("a trailer that is cut short, or no chunk, is none") {
    const Bytes whole = joined({exif, end});
    for (std::size_t length = 0; length < whole.size(); ++length) {
        CAPTURE(length);
        const auto cut = whole.begin() + static_cast<std::ptrdiff_t>(length);
        CHECK_FALSE(trailer(Bytes(whole.begin(), cut)));
    }
    CHECK_FALSE(trailer(joined({pngChunk("te1t"), end})));
    CHECK_FALSE(trailer(joined({{0x80, 0, 0, 0}, bytes("tEXt"), Bytes(4), end})));
}
