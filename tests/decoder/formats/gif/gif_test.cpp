#include "decoder/formats/gif/gif.h"

#include <doctest/doctest.h>

#include "tests/decoder/formats/recorded_picture.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

RecordedPicture recorded(const Bytes& file) { return {openGif, file}; }

// A logical screen of 2 by 2 pixels with a map of two colours.
const Bytes screen =
    joined({bytes("GIF89a"), {2, 0, 2, 0, 0x80, 0, 0}, {10, 20, 30}, {40, 50, 60}});
const Bytes transparentOne = {'!', 0xf9, 4, 1, 0, 0, 1, 0};
// A frame of 2 by 1 pixels, the first of colour 0, the second of colour 1.
const Bytes frame = {',', 0, 0, 1, 0, 2, 0, 1, 0, 0, 2, 2, 0x44, 0x0a, 0};
const Bytes trailer = {';'};

} // namespace

TEST_CASE("a frame stands on its transparent screen, whose size is the picture's") {
    const auto picture = recorded(joined({screen, frame, trailer}));
    REQUIRE(picture.whole);
    CHECK(picture.header->size == Size{2, 2});
    CHECK(picture.header->samples.channels == Channels::rgba);
    CHECK(picture.header->rowsInOrder);
    CHECK(picture.samples == Bytes{0, 0, 0, 0, 0, 0, 0, 0, 10, 20, 30, 255, 40, 50, 60, 255});
}

TEST_CASE("a transparent index is taken from the control extension before the frame") {
    const auto picture = recorded(joined({screen, transparentOne, frame, transparentOne}));
    REQUIRE(picture.whole);
    CHECK(picture.samples == Bytes{0, 0, 0, 0, 0, 0, 0, 0, 10, 20, 30, 255, 0, 0, 0, 0});
    CHECK(recorded(joined({screen, frame, transparentOne})).samples.back() == 255);
}

TEST_CASE("an LZW minimum code size may exceed 8") {
    // Clear, 0, 1, end: codes of one bit more than their size.
    const auto wide = [](std::uint8_t codeSize) {
        const unsigned clear = 1U << codeSize;
        const unsigned width = codeSize + 1U;
        const std::uint64_t bits = std::uint64_t{clear} | std::uint64_t{1} << 2 * width |
                                   std::uint64_t{clear + 1} << 3 * width;
        Bytes data = {',', 0, 0, 1, 0, 2, 0, 1, 0, 0, codeSize, 6};
        for (unsigned i = 0; i < 6; ++i) data.push_back(static_cast<std::uint8_t>(bits >> 8 * i));
        data.push_back(0);
        return joined({screen, data});
    };
    const auto usual = recorded(joined({screen, frame}));
    for (const std::uint8_t codeSize : Bytes{8, 9, 10, 11}) {
        CAPTURE(codeSize);
        const auto picture = recorded(wide(codeSize));
        CHECK(picture.whole);
        CHECK(picture.samples == usual.samples);
        const Bytes whole = wide(codeSize);
        CHECK_FALSE(recorded(Bytes(whole.begin(), whole.end() - 1)).whole);
    }
    CHECK_FALSE(recorded(wide(12)).header);
}

TEST_CASE("rows of an interlaced frame are announced to come out of order") {
    Bytes interlaced = frame;
    interlaced[9] = 0x40;
    const auto picture = recorded(joined({screen, interlaced}));
    CHECK(picture.whole);
    CHECK_FALSE(picture.header->rowsInOrder);
}

TEST_CASE("a file that ends before its frame's data do is no whole picture") {
    const Bytes file = joined({screen, transparentOne, frame});
    CHECK(recorded(file).whole);
    for (std::size_t length = 0; length < file.size(); ++length) {
        CAPTURE(length);
        const auto end = file.begin() + static_cast<std::ptrdiff_t>(length);
        CHECK_FALSE(recorded(Bytes(file.begin(), end)).whole);
    }
}
