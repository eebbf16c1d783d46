#include "decoder/formats/exif.h"

#include <string>
#include <string_view>

#include <doctest/doctest.h>

#include "tests/decoder/bytes.h"

using namespace sorvane::decoder;
using namespace sorvane::test;
using namespace std::string_view_literals;

namespace {

int orientationIn(std::string_view exif) { return static_cast<int>(exifOrientation(bytes(exif))); }

} // namespace

TEST_CASE("the orientation is found in either byte order, after other entries too") {
    CHECK(orientationIn("MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0\x06\0\0"sv) == 6);
    CHECK(orientationIn("II*\0\x08\0\0\0\x01\0\x12\x01\x03\0\x01\0\0\0\x08\0\0\0"sv) == 8);
    CHECK(orientationIn("II*\0\x0a\0\0\0??\x02\0\0\x01\x04\0\x01\0\0\0\xff\xff\xff\xff"
                        "\x12\x01\x03\0\x01\0\0\0\x03\0"sv) == 3);
    for (char value = 1; value <= 8; ++value) {
        std::string exif("MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0?\0\0"sv);
        exif[19] = value;
        CHECK(orientationIn(exif) == value);
    }
}

TEST_CASE("the number may be a BYTE, a SHORT or a LONG") {
    CHECK(orientationIn("MM\0*\0\0\0\x08\0\x01\x01\x12\0\x01\0\0\0\x01\x06"sv) == 6);
    CHECK(orientationIn("II*\0\x08\0\0\0\x01\0\x12\x01\x01\0\x01\0\0\0\x08"sv) == 8);
    CHECK(orientationIn("MM\0*\0\0\0\x08\0\x01\x01\x12\0\x04\0\0\0\x01\0\0\0\x06"sv) == 6);
    CHECK(orientationIn("II*\0\x08\0\0\0\x01\0\x12\x01\x04\0\x01\0\0\0\x08\0\0\0"sv) == 8);
    for (const std::string_view exif : {
             "MM\0*\0\0\0\x08\0\x01\x01\x12\0\x01\0\0\0\x01\0\x06\0\0"sv,
             "MM\0*\0\0\0\x08\0\x01\x01\x12\0\x04\0\0\0\x01\0\x06\0\0"sv,
             "MM\0*\0\0\0\x08\0\x01\x01\x12\0\x04\0\0\0\x01\0\x01\0\x06"sv,
             "MM\0*\0\0\0\x08\0\x01\x01\x12\0\x04\0\0\0\x01\0\0\0"sv,
             "MM\0*\0\0\0\x08\0\x01\x01\x12\0\x04\0\0\0\x02\0\0\0\x06"sv,
             "MM\0*\0\0\0\x08\0\x01\x01\x12\0\x02\0\0\0\x01\x06\0\0\0"sv,
             "MM\0*\0\0\0\x08\0\x01\x01\x12\0\x06\0\0\0\x01\x06\0\0\0"sv,
             "MM\0*\0\0\0\x08\0\x01\x01\x12\0\x09\0\0\0\x01\0\0\0\x06"sv,
         }) {
        CAPTURE(exif);
        CHECK(orientationIn(exif) == 1);
    }
}

TEST_CASE("whatever is garbled, cut short or out of range is upright") {
    constexpr std::string_view whole = "MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0\x06"sv;
    CHECK(orientationIn(whole) == 6);
    for (std::size_t length = 0; length < whole.size(); ++length)
        CHECK(orientationIn(whole.substr(0, length)) == 1);
    for (const std::string_view exif : {
             "MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0\0"sv,
             "MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0\x09"sv,
             "MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\x06\0"sv,
             "MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x02\0\x06"sv,
             "MM\0*\0\0\0\x08\0\x01\x01\x13\0\x03\0\0\0\x01\0\x06"sv,
             "MM\0*\xff\xff\xff\xff\0\x01\x01\x12\0\x03\0\0\0\x01\0\x06"sv,
             "MM\0*\0\0\0\x08\xff\xff\x01\x13\0\x03\0\0\0\x01\0\x06"sv,
             "MM\0+\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0\x06"sv,
             "IM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0\x06"sv,
             "II\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0\x06"sv,
             "XX\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0\x06"sv,
         }) {
        CAPTURE(exif);
        CHECK(orientationIn(exif) == 1);
    }
}
