#include "decoder/formats/tga.h"

#include <doctest/doctest.h>

#include "tests/decoder/formats/recorded_picture.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

constexpr std::uint8_t indexed = 1;
constexpr std::uint8_t trueColour = 2;
constexpr std::uint8_t grey = 3;
constexpr std::uint8_t runs = 8;
constexpr std::uint8_t fromTheRight = 0x10;
constexpr std::uint8_t fromTheTop = 0x20;

struct Form {
    std::uint8_t kind;
    std::uint8_t depth;
    std::uint8_t corner = fromTheTop;
    std::uint16_t firstEntry = 0;
    std::uint16_t entries = 0;
    std::uint8_t entryDepth = 0;
};

// 2 by 2 pixels.
Bytes tga(const Form& form, const Bytes& content) {
    const std::uint8_t palette = form.entries != 0 ? 1 : 0;
    return joined({{0, palette, form.kind},
                   littleEndian16(form.firstEntry),
                   littleEndian16(form.entries),
                   {form.entryDepth, 0, 0, 0, 0, 2, 0, 2, 0, form.depth, form.corner},
                   content});
}

RecordedPicture recorded(const Form& form, const Bytes& content) {
    return {openTga, tga(form, content)};
}

} // namespace

TEST_CASE("a picture begins in any of its corners") {
    const Bytes stored = {1, 2, 3, 4};
    CHECK(recorded({grey, 8, fromTheTop}, stored).samples == Bytes{1, 2, 3, 4});
    CHECK(recorded({grey, 8, 0}, stored).samples == Bytes{3, 4, 1, 2});
    CHECK(recorded({grey, 8, fromTheTop | fromTheRight}, stored).samples == Bytes{2, 1, 4, 3});
    CHECK(recorded({grey, 8, fromTheRight}, stored).samples == Bytes{4, 3, 2, 1});
    CHECK(recorded({grey, 8, fromTheTop}, stored).header->rowsInOrder);
    CHECK_FALSE(recorded({grey, 8, 0}, stored).header->rowsInOrder);
}

TEST_CASE("runs and literals go on from row to row") {
    const auto picture = recorded({grey | runs, 8}, {0x82, 7, 0x00, 9});
    REQUIRE(picture.whole);
    CHECK(picture.samples == Bytes{7, 7, 7, 9});
    const auto colours =
        recorded({trueColour | runs, 24}, {0x00, 1, 2, 3, 0x81, 4, 5, 6, 0x7f, 7, 8, 9});
    REQUIRE(colours.whole);
    CHECK(colours.samples == Bytes{3, 2, 1, 255, 6, 5, 4, 255, 6, 5, 4, 255, 9, 8, 7, 255});
    CHECK_FALSE(recorded({grey | runs, 8}, {0x82, 7}).whole);
    CHECK_FALSE(recorded({grey | runs, 8}, {0x83}).whole);
}

TEST_CASE("colours have 15, 16, 24 or 32 bits, of which the fourth byte is alpha") {
    const Bytes wide(4, 0x5a);
    const auto picture = recorded({trueColour, 32}, joined({{1, 2, 3, 4}, wide, wide, wide}));
    REQUIRE(picture.whole);
    CHECK(Bytes(picture.samples.begin(), picture.samples.begin() + 4) == Bytes{3, 2, 1, 4});
    for (const std::uint8_t depth : Bytes{15, 16}) {
        const auto narrow = recorded({trueColour, depth}, {0xff, 0x7f, 0, 0xfc, 0, 0, 1, 0});
        REQUIRE(narrow.whole);
        CHECK(narrow.samples ==
              Bytes{255, 255, 255, 255, 255, 0, 0, 255, 0, 0, 0, 255, 0, 0, 8, 255});
    }
    CHECK(recorded({grey, 16}, {1, 2, 3, 4, 5, 6, 7, 8}).header->samples.channels ==
          Channels::greyAlpha);
    for (const std::uint8_t depth : Bytes{0, 1, 8, 17, 64})
        CHECK_FALSE(recorded({trueColour, depth}, Bytes(64)).header);
}

TEST_CASE("an index outside the palette is black") {
    const Bytes palette = {1, 2, 3, 4, 5, 6};
    const auto picture =
        recorded({indexed, 8, fromTheTop, 10, 2, 24}, joined({palette, {10, 11, 9, 12}}));
    REQUIRE(picture.whole);
    CHECK(picture.samples == Bytes{3, 2, 1, 255, 6, 5, 4, 255, 0, 0, 0, 255, 0, 0, 0, 255});
    CHECK_FALSE(recorded({indexed, 8}, {0, 0, 0, 0}).header);
}

TEST_CASE("a palette that is not needed is skipped") {
    const auto picture = recorded({grey, 8, fromTheTop, 0, 1, 24}, {9, 9, 9, 1, 2, 3, 4});
    REQUIRE(picture.whole);
    CHECK(picture.samples == Bytes{1, 2, 3, 4});
}
