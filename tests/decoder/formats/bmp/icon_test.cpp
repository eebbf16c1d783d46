#include "decoder/formats/bmp/icon.h"

#include <doctest/doctest.h>

#include "tests/decoder/formats/png/png_bytes.h"
#include "tests/decoder/formats/recorded_picture.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

RecordedPicture recorded(const Bytes& file) { return {openIcon, file}; }

constexpr std::uint32_t directoryLength = 22;

// A directory of one entry, which speaks of 16 by 16 pixels in 4 bits.
Bytes directory(std::uint32_t offset = directoryLength) {
    return joined({littleEndian16(0),
                   littleEndian16(1),
                   littleEndian16(1),
                   {16, 16, 0, 0},
                   littleEndian16(1),
                   littleEndian16(4),
                   littleEndian32(1000),
                   littleEndian32(offset)});
}

// A bitmap's header without a palette; `height` counts the rows of pixels alone.
Bytes dib(std::uint32_t width, std::int32_t height, std::uint16_t depth) {
    return joined({littleEndian32(40), littleEndian32(width),
                   littleEndian32(static_cast<std::uint32_t>(2 * height)), littleEndian16(1),
                   littleEndian16(depth), Bytes(24)});
}

// Two rows of two pixels, the lowest first, in blue, green, red; their mask lets the upper left and
// the lower right be seen.
const Bytes trueColour = {1, 2, 3, 4, 5, 6, 0, 0, 7, 8, 9, 10, 11, 12, 0, 0};
const Bytes mask = {0x80, 0, 0, 0, 0x40, 0, 0, 0};

// The same in 32 bits.
Bytes withAlpha(std::uint8_t alpha) {
    return {1, 2, 3, alpha, 4, 5, 6, alpha, 7, 8, 9, alpha, 10, 11, 12, alpha};
}

} // namespace

TEST_CASE("the mask makes pixels of an icon's bitmap transparent") {
    const auto picture = recorded(joined({directory(), dib(2, 2, 24), trueColour, mask}));
    REQUIRE(picture.whole);
    CHECK(picture.header->size == Size{2, 2});
    CHECK(picture.header->samples.channels == Channels::rgba);
    CHECK(picture.header->rowsInOrder);
    CHECK(picture.samples == Bytes{9, 8, 7, 255, 12, 11, 10, 0, 3, 2, 1, 0, 6, 5, 4, 255});
}

TEST_CASE("an icon's rows and those of its mask may begin with the highest") {
    const auto picture = recorded(joined({directory(), dib(2, -2, 24), trueColour, mask}));
    REQUIRE(picture.whole);
    CHECK(picture.samples == Bytes{3, 2, 1, 0, 6, 5, 4, 255, 9, 8, 7, 255, 12, 11, 10, 0});
}

TEST_CASE("a mask has as many bits as a row has pixels, in whole words") {
    constexpr std::uint32_t width = 33;
    const Bytes row(width * 3 + 1, 50);
    const Bytes wide = {0, 0x80, 0, 1, 0x80, 0xff, 0xff, 0xff};
    const auto picture = recorded(joined({directory(), dib(width, 1, 24), row, wide}));
    REQUIRE(picture.whole);
    for (std::size_t x = 0; x < width; ++x) {
        CAPTURE(x);
        const bool transparent = x == 8 || x == 31 || x == 32;
        CHECK(picture.samples[4 * x + 3] == (transparent ? 0 : 255));
    }
}

TEST_CASE("alpha decides instead of the mask, unless it is 0 everywhere") {
    const auto alphas = [](const Bytes& pixels, const Bytes& after) {
        const auto picture = recorded(joined({directory(), dib(2, 2, 32), pixels, after}));
        Bytes result;
        for (std::size_t i = 3; i < picture.samples.size(); i += 4)
            result.push_back(picture.samples[i]);
        return picture.whole ? result : Bytes{};
    };
    CHECK(alphas(withAlpha(200), mask) == Bytes(4, 200));
    CHECK(alphas(withAlpha(200), {}) == Bytes(4, 200));
    CHECK(alphas(withAlpha(0), mask) == Bytes{255, 0, 0, 255});
    CHECK(alphas(withAlpha(0), {}).empty());
    Bytes one = withAlpha(0);
    one[3] = 1;
    CHECK(alphas(one, mask) == Bytes{0, 0, 1, 0});
}

TEST_CASE("an icon's first picture lies where its entry says, after the entry") {
    const Bytes picture = joined({dib(2, 2, 24), trueColour, mask});
    const auto samples = recorded(joined({directory(), picture})).samples;
    const auto later = recorded(joined({directory(directoryLength + 5), Bytes(5, 77), picture}));
    CHECK(later.whole);
    CHECK(later.samples == samples);
    CHECK_FALSE(recorded(joined({directory(directoryLength - 1), picture})).header);
    CHECK_FALSE(recorded(joined({directory(directoryLength + 1), picture})).header);
}

TEST_CASE("an icon's picture may be a PNG") {
    const Bytes png = pngFile({.width = 2, .height = 1}, {0, 10, 20});
    const auto picture = recorded(joined({directory(directoryLength + 3), Bytes(3), png}));
    REQUIRE(picture.whole);
    CHECK(picture.header->size == Size{2, 1});
    CHECK(picture.samples == Bytes{10, 20});
    CHECK_FALSE(recorded(joined({directory(), bytes("\x89PNG\r\n\x1a\n")})).header);
}

TEST_CASE("an icon that is cut short is rejected") {
    const Bytes file = joined({directory(), dib(2, 2, 24), trueColour, mask});
    CHECK(recorded(file).whole);
    for (std::size_t length = 0; length < file.size(); ++length) {
        CAPTURE(length);
        const auto end = file.begin() + static_cast<std::ptrdiff_t>(length);
        CHECK_FALSE(recorded(Bytes(file.begin(), end)).whole);
    }
}
