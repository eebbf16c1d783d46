#include "decoder/formats/jpeg/jpeg.h"

#include <string_view>

#include <doctest/doctest.h>

#include "tests/decoder/formats/recorded_picture.h"

using namespace sorvane::decoder;
using namespace sorvane::test;
using namespace std::string_view_literals;

namespace {

RecordedPicture recorded(const Bytes& file) { return {openJpeg, file}; }

// 8 by 8 pixels of grey 200: `cjpeg -optimize -grayscale`, without the JFIF segment.
const Bytes quantization = bytes(
    "\xff\xdb\x00\x43\x00\x08\x06\x06\x07\x06\x05\x08\x07\x07\x07\x09\x09\x08\x0a\x0c\x14\x0d\x0c"
    "\x0b\x0b\x0c\x19\x12\x13\x0f\x14\x1d\x1a\x1f\x1e\x1d\x1a\x1c\x1c\x20\x24\x2e\x27\x20\x22\x2c"
    "\x23\x1c\x1c\x28\x37\x29\x2c\x30\x31\x34\x34\x34\x1f\x27\x39\x3d\x38\x32\x3c\x2e\x33\x34\x32"sv);
const Bytes frame = bytes("\xff\xc0\x00\x0b\x08\x00\x08\x00\x08\x01\x01\x11\x00"sv);
const Bytes codes = bytes(
    "\xff\xc4\x00\x14\x00\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x07"
    "\xff\xc4\x00\x14\x10\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00"sv);
const Bytes scan = bytes("\xff\xda\x00\x08\x01\x01\x00\x00\x3f\x00\x48\x7f"sv);
const Bytes begin = bytes("\xff\xd8"sv);
const Bytes end = bytes("\xff\xd9"sv);

Bytes jpegFile(const Bytes& segments = {}) {
    return joined({begin, segments, quantization, frame, codes, scan, end});
}

Bytes segment(std::uint8_t marker, const Bytes& body) {
    const std::size_t length = body.size() + 2;
    return joined({{0xff, marker},
                   {static_cast<std::uint8_t>(length >> 8), static_cast<std::uint8_t>(length)},
                   body});
}

Bytes exifSegment(std::uint8_t orientation) {
    return segment(0xe1, joined({bytes("Exif\0\0MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0"sv),
                                 {orientation, 0, 0}}));
}

} // namespace

TEST_CASE("a grey picture gives one channel of grey") {
    const auto picture = recorded(jpegFile());
    REQUIRE(picture.whole);
    CHECK(picture.header->size == Size{8, 8});
    CHECK(picture.header->samples.channels == Channels::grey);
    CHECK(picture.header->rowsInOrder);
    CHECK(picture.header->colour.empty());
    CHECK(picture.samples == Bytes(64, 200));
}

TEST_CASE("the first Exif segment says the orientation") {
    CHECK(recorded(jpegFile()).header->orientation == Orientation::upright);
    const Bytes other = segment(0xe1, bytes("http://ns.adobe.com/xap/1.0/\0Exif"sv));
    const auto turned = recorded(jpegFile(joined({other, exifSegment(6), exifSegment(3)})));
    CHECK(turned.whole);
    CHECK(turned.header->orientation == Orientation::quarterTurn);
    CHECK(recorded(jpegFile(segment(0xe1, bytes("Exif")))).whole);
}

TEST_CASE("a profile is put together from its segments") {
    const auto piece = [](char number, std::string_view content) {
        return segment(0xe2, joined({bytes("ICC_PROFILE\0"sv),
                                     {static_cast<std::uint8_t>(number), 2},
                                     bytes(content)}));
    };
    const auto picture = recorded(jpegFile(joined({piece(2, "second"), piece(1, "first ")})));
    REQUIRE(picture.header->colour.size() == 1);
    CHECK(std::get<IccProfile>(picture.header->colour[0]).bytes == bytes("first second"));
    CHECK(recorded(jpegFile(piece(1, "first "))).header->colour.empty());
}

TEST_CASE("a picture cut in its pixels keeps what decoded, one cut before them is none") {
    const Bytes file = jpegFile(exifSegment(1));
    for (std::size_t length = 0; length < file.size(); ++length) {
        CAPTURE(length);
        const auto cut = file.begin() + static_cast<std::ptrdiff_t>(length);
        const bool pixelsBegun = length >= file.size() - 4;
        CHECK(recorded(Bytes(file.begin(), cut)).whole == pixelsBegun);
    }
}

TEST_CASE("a segment of impossible length is an empty one") {
    for (const std::uint8_t marker : Bytes{0xe1, 0xe2, 0xe3})
        for (const std::uint8_t length : Bytes{0, 1})
            CHECK(recorded(jpegFile({0xff, marker, 0, length})).whole);
}

TEST_CASE("four channels are inks, stored as what they leave of white") {
    Bytes four = frame;
    four[3] = 0x14;
    four[9] = 4;
    const Bytes more = {2, 0x11, 0, 3, 0x11, 0, 4, 0x11, 0};
    const auto file = [&](const Bytes& segments) {
        return joined({begin, segments, quantization, four, more, codes, scan, end});
    };
    const auto adobe = [](std::uint8_t transform) {
        return segment(0xee, joined({bytes("Adobe\0\x64\0\0\0\0"sv), {transform}}));
    };
    // Only the first channel is in a scan; the others stay in the middle.
    const auto everyPixel = [](const Bytes& pixel) {
        Bytes pixels;
        for (int i = 0; i < 64; ++i) pixels.insert(pixels.end(), pixel.begin(), pixel.end());
        return pixels;
    };
    for (const Bytes& segments : {Bytes{}, adobe(0)}) {
        const auto picture = recorded(file(segments));
        REQUIRE(picture.whole);
        CHECK(picture.header->samples.channels == Channels::cmyk);
        CHECK(picture.samples == everyPixel({55, 127, 127, 127}));
    }
    CHECK(recorded(file(adobe(2))).samples == everyPixel({200, 200, 200, 127}));
}

TEST_CASE("two channels are not read") {
    Bytes two = frame;
    two[3] = 0x0e;
    two[9] = 2;
    const Bytes more = {2, 0x11, 0};
    CHECK_FALSE(recorded(joined({begin, quantization, two, more, codes, scan, end})).header);
}
