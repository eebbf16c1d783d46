#include "decoder/formats/tiff/tiff_file.h"

#include <doctest/doctest.h>

#include "tests/decoder/formats/tiff/tiff_bytes.h"
#include "tests/decoder/input_file.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

constexpr std::uint16_t byteType = 1;
constexpr std::uint16_t longType = 4;
constexpr std::uint16_t undefinedType = 7;

Bytes seen(TiffFile& file, std::size_t count, std::uint64_t offset = 0) {
    Bytes to(count);
    to.resize(file.read(offset, to));
    return to;
}

bool isPicture(const Bytes& content) {
    InputFile input(content);
    TiffFile file(input.source());
    return file.readDirectory();
}

} // namespace

TEST_CASE("of the directory only the pixels' entries are shown, and none after it") {
    for (const ByteOrder order : {ByteOrder::big, ByteOrder::little})
        for (const bool big : {false, true}) {
            CAPTURE(big);
            const TiffBytes tiff(order, big);
            const Bytes directory = tiff.directory({{256, longType, 1, 7},
                                                    {257, longType, 1, 5},
                                                    {330, longType, 1, 8},
                                                    {700, byteType, 400, 99},
                                                    {256, longType, 1, 9},
                                                    {34665, longType, 1, 8}},
                                                   8);
            const Bytes shown = tiff.directory({{256, longType, 1, 7}, {257, longType, 1, 5}});
            InputFile input(joined({tiff.header(), directory, bytes("after")}));
            TiffFile file(input.source());
            REQUIRE(file.readDirectory());
            CHECK(seen(file, tiff.header().size()) == tiff.header());
            CHECK(seen(file, shown.size(), tiff.header().size()) == shown);
            CHECK(seen(file, 3, tiff.header().size() + 1) ==
                  Bytes(shown.begin() + 1, shown.begin() + 4));
            const std::size_t end = tiff.header().size() + directory.size();
            CHECK(seen(file, 100, end) == bytes("after"));
            CHECK(seen(file, 100, end + 5).empty());
            CHECK_FALSE(file.namesExtraSamples());
            CHECK_FALSE(file.profile());
        }
}

TEST_CASE("entries that cannot be meant are not shown") {
    const TiffBytes tiff;
    const Bytes kept = tiff.directory({{273, longType, 1 << 20, 99}});
    InputFile input(joined({tiff.header(), tiff.directory({{256, 0, 1, 7},
                                                           {257, 14, 1, 7},
                                                           {258, 77, 1, 7},
                                                           {347, undefinedType, 1 << 21, 99},
                                                           {273, longType, 1 << 20, 99},
                                                           {279, longType, 1U << 31, 99}})}));
    TiffFile file(input.source());
    REQUIRE(file.readDirectory());
    CHECK(seen(file, kept.size(), 8) == kept);
}

TEST_CASE("a profile is taken from where it lies, when it is whole and not too long") {
    const TiffBytes tiff;
    const auto profileOf = [&](std::uint64_t count, std::uint64_t value) {
        InputFile input(
            joined({tiff.header(), tiff.directory({{34675, undefinedType, count, value}}),
                    bytes("profile")}));
        TiffFile file(input.source());
        REQUIRE(file.readDirectory());
        const auto profile = file.profile();
        return profile ? profile->bytes : Bytes{};
    };
    CHECK(profileOf(7, 26) == bytes("profile"));
    CHECK(profileOf(4, 0x64636261) == bytes("abcd"));
    CHECK(profileOf(8, 26).empty());
    CHECK(profileOf(7, 27).empty());
    CHECK(profileOf(200'000'000, 26).empty());
    CHECK(profileOf(0, 26).empty());
}

TEST_CASE("whether the directory tells the kind of further samples is known") {
    const TiffBytes tiff;
    InputFile input(joined({tiff.header(), tiff.directory({{338, 3, 1, 0}})}));
    TiffFile file(input.source());
    REQUIRE(file.readDirectory());
    CHECK(file.namesExtraSamples());
}

TEST_CASE("what is no TIFF, or one whose picture lies deeper, is rejected") {
    const TiffBytes tiff;
    const Bytes width = tiff.directory({{256, longType, 1, 7}});
    CHECK(isPicture(joined({tiff.header(), width})));
    const Bytes whole = joined({tiff.header(), width});
    // The last four bytes name a next directory, which nobody wants.
    for (std::size_t length = 0; length < whole.size() - 4; ++length) {
        CAPTURE(length);
        CHECK_FALSE(
            isPicture(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length))));
    }
    CHECK_FALSE(isPicture(joined({bytes("IM"), Bytes(whole.begin() + 2, whole.end())})));
    CHECK_FALSE(isPicture(joined({bytes("II"), tiff.number(44, 2), tiff.number(8, 4), width})));
    CHECK_FALSE(isPicture(joined({bytes("II"), tiff.number(42, 2), tiff.number(4, 4), width})));
    CHECK_FALSE(isPicture(
        joined({tiff.header(), tiff.directory({{254, longType, 1, 1}, {330, longType, 1, 8}})})));
    CHECK(isPicture(joined({tiff.header(), tiff.directory({{254, longType, 1, 1}})})));
    CHECK_FALSE(isPicture(joined({tiff.header(), tiff.directory({{50706, byteType, 4, 1}})})));
    CHECK_FALSE(isPicture(joined({bytes("II"), tiff.number(42, 2), tiff.number(16, 4),
                                  bytes("CR\x02"), Bytes(1), Bytes(4), width})));
}
