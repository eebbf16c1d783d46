#include "decoder/formats/pnm.h"

#include <cstring>
#include <string>
#include <string_view>

#include <doctest/doctest.h>

#include "tests/decoder/formats/recorded_picture.h"

using namespace sorvane::decoder;
using namespace sorvane::test;
using namespace std::string_view_literals;

namespace {

RecordedPicture recorded(std::string_view file) { return {openPnm, bytes(file)}; }

Bytes samples(std::string_view file) {
    const auto picture = recorded(file);
    return picture.whole ? picture.samples : Bytes{};
}

std::uint16_t wideSample(std::string_view file) {
    const auto picture = recorded(file);
    REQUIRE(picture.whole);
    REQUIRE(picture.header->samples.sixteenBits);
    std::uint16_t sample = 0;
    std::memcpy(&sample, picture.samples.data(), sizeof sample);
    return sample;
}

} // namespace

TEST_CASE("bits may stand close together or apart, and 1 is black") {
    CHECK(samples("P1\n3 2\n010\n1 0 1") == Bytes{255, 0, 255, 0, 255, 0});
    CHECK(samples("P4 3 2 \x40\xa0"sv) == Bytes{255, 0, 255, 0, 255, 0});
    CHECK(samples("P1 3 1 012").empty());
    CHECK(samples("P1 3 1 01").empty());
}

TEST_CASE("comments stand anywhere between numbers, and end them") {
    CHECK(samples("P2#1\n#2 2\n 2#3\n1# # 9 9\n255\n7#\n8") == Bytes{7, 8});
    CHECK(samples("P2 2 1 255 7x 8").empty());
}

TEST_CASE("values are scaled by their maximum, to the nearest") {
    CHECK(samples("P2 5 1 4\n0 1 2 3 4") == Bytes{0, 64, 128, 191, 255});
    CHECK(samples("P3 1 1 15 0 5 15") == Bytes{0, 85, 255});
    CHECK(samples("P5 3 1 100\n\x00\x32\x64"sv) == Bytes{0, 128, 255});
    CHECK(samples("P2 1 1 4 5").empty());
    CHECK(samples("P5 1 1 100\n\x65").empty());
    CHECK(wideSample("P2 1 1 256 128") == 32768);
    CHECK(wideSample("P5 1 1 65535\n\x12\x34"sv) == 0x1234);
    CHECK_FALSE(recorded("P2 1 1 0 0").header);
    CHECK_FALSE(recorded("P2 1 1 65536 0").header);
}

TEST_CASE("a PAM says its channels by a word, or by their number") {
    const auto channels = [](std::string_view fields) {
        const auto picture =
            recorded("P7\nWIDTH 1\nHEIGHT 1\nMAXVAL 255\n" + std::string(fields) + "ENDHDR\nabcd");
        return picture.header ? std::optional(picture.header->samples.channels) : std::nullopt;
    };
    CHECK(channels("DEPTH 1\nTUPLTYPE BLACKANDWHITE\n") == Channels::grey);
    CHECK(channels("DEPTH 2\nTUPLTYPE GRAYSCALE_ALPHA\n") == Channels::greyAlpha);
    CHECK(channels("TUPLTYPE RGB \n# a comment\n\nDEPTH\t3\n") == Channels::rgb);
    CHECK(channels("DEPTH 4\nTUPLTYPE RGB_ALPHA\n") == Channels::rgba);
    CHECK(channels("DEPTH 4\n") == Channels::rgba);
    CHECK(channels("DEPTH 1\n") == Channels::grey);
    CHECK_FALSE(channels("DEPTH 5\n"));
    CHECK_FALSE(channels("DEPTH 3\nTUPLTYPE RGB_ALPHA\n"));
    CHECK_FALSE(channels("DEPTH 4\nTUPLTYPE CMYK\n"));
    CHECK_FALSE(channels("DEPTH 3\nTUPLTYPE RGB\nTUPLTYPE RGB\n"));
    CHECK_FALSE(channels("DEPTH 3\nCOLOURS 3\n"));
    CHECK_FALSE(channels("DEPTH x\n"));
}

TEST_CASE("numbers that are too large are no numbers") {
    const auto width = [](std::string_view digits) {
        InputFile file(bytes("P2 " + std::string(digits) + " 1 255 "));
        const auto header = openPnm(file.source())->readHeader();
        return header ? std::optional(header->size.width) : std::nullopt;
    };
    CHECK(width("4000000000") == 4'000'000'000);
    CHECK_FALSE(width("4000000001"));
    CHECK_FALSE(width("99999999999999999999999999"));
    CHECK_FALSE(width("-1"));
}

TEST_CASE("a map that is cut short is not whole") {
    constexpr std::string_view file = "P6 2 1 255\nabcdef";
    CHECK(recorded(file).whole);
    for (std::size_t length = 0; length < file.size(); ++length)
        CHECK_FALSE(recorded(file.substr(0, length)).whole);
}
