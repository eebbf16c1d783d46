#include "decoder/formats/tiff/tiff.h"

#include <doctest/doctest.h>

#include "tests/decoder/formats/recorded_picture.h"
#include "tests/decoder/formats/tiff/tiff_bytes.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

constexpr std::uint16_t byteType = 1;
constexpr std::uint16_t shortType = 3;
constexpr std::uint16_t longType = 4;

const Bytes pixels = {10, 20, 30, 40, 50, 60};

// Three by two pixels of 8-bit grey after the directory, and further entries.
Bytes greyFile(const std::vector<TiffEntry>& more = {}) {
    std::vector<TiffEntry> entries = {{256, longType, 1, 3},  {257, longType, 1, 2},
                                      {258, shortType, 1, 8}, {262, shortType, 1, 1},
                                      {273, longType, 1, 0},  {279, longType, 1, 6}};
    entries.insert(entries.end(), more.begin(), more.end());
    const TiffBytes tiff;
    entries[4].value = tiff.header().size() + tiff.directory(entries).size();
    return joined({tiff.header(), tiff.directory(entries), pixels});
}

RecordedPicture recorded(const Bytes& file) { return {openTiff, file}; }

} // namespace

TEST_CASE("a grey TIFF gives one channel of grey") {
    const auto picture = recorded(greyFile());
    REQUIRE(picture.whole);
    CHECK(picture.header->size == Size{3, 2});
    CHECK(picture.header->samples.channels == Channels::grey);
    CHECK_FALSE(picture.header->samples.sixteenBits);
    CHECK(picture.header->orientation == Orientation::upright);
    CHECK(picture.header->rowsInOrder);
    CHECK(picture.header->colour.empty());
    CHECK(picture.samples == pixels);
}

TEST_CASE("the orientation is that of the directory") {
    const auto picture = recorded(greyFile({{274, shortType, 1, 6}}));
    REQUIRE(picture.whole);
    CHECK(picture.header->orientation == Orientation::quarterTurn);
    CHECK(picture.header->size == Size{3, 2});
    CHECK(recorded(greyFile({{274, shortType, 1, 9}})).header->orientation == Orientation::upright);
}

TEST_CASE("the orientation counts as a longer or a shorter number too") {
    for (const std::uint16_t type : {byteType, longType}) {
        CAPTURE(type);
        CHECK(recorded(greyFile({{274, type, 1, 6}})).header->orientation ==
              Orientation::quarterTurn);
    }
    for (const std::uint32_t number : {0U, 9U, 65'542U})
        CHECK(recorded(greyFile({{274, longType, 1, number}})).header->orientation ==
              Orientation::upright);
}

TEST_CASE("a profile is handed over as it is") {
    const auto picture = recorded(greyFile({{34675, 7, 4, 0x64636261}}));
    REQUIRE(picture.whole);
    REQUIRE(picture.header->colour.size() == 1);
    CHECK(std::get<IccProfile>(picture.header->colour[0]).bytes == bytes("abcd"));
}

TEST_CASE("a TIFF that is cut short is rejected") {
    const Bytes file = greyFile();
    for (std::size_t length = 0; length < file.size(); ++length) {
        CAPTURE(length);
        CHECK_FALSE(
            recorded(Bytes(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length)))
                .whole);
    }
}

TEST_CASE("what is not read has no header") {
    for (const TiffEntry& entry :
         {TiffEntry{339, shortType, 1, 3}, TiffEntry{259, shortType, 1, 99},
          TiffEntry{259, shortType, 1, 32809}})
        CHECK_FALSE(recorded(greyFile({entry})).header);
}
