#include "decoder/formats/bmp/dib_header.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include <doctest/doctest.h>

#include "tests/decoder/input_file.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

using Depths = std::vector<std::uint16_t>;

constexpr std::uint32_t rle8 = 1;
constexpr std::uint32_t rle4 = 2;
constexpr std::uint32_t bitFields = 3;
constexpr std::uint32_t os2Rle24 = 4;
constexpr std::uint32_t alphaBitFields = 6;

// A header of any form but the shortest, filled up with zeros.
Bytes dib(std::uint32_t length, std::uint16_t depth, std::uint32_t compression = 0,
          std::uint32_t colours = 0, std::uint32_t height = 2) {
    Bytes header = joined({littleEndian32(length), littleEndian32(3), littleEndian32(height),
                           littleEndian16(1), littleEndian16(depth), littleEndian32(compression),
                           Bytes(12), littleEndian32(colours), littleEndian32(0)});
    header.resize(length);
    return header;
}

Bytes core(std::uint16_t depth) {
    return joined({littleEndian32(12), littleEndian16(3), littleEndian16(2), littleEndian16(1),
                   littleEndian16(depth)});
}

Bytes with(Bytes header, std::size_t offset, std::uint32_t value) {
    const Bytes field = littleEndian32(value);
    std::copy(field.begin(), field.end(), header.begin() + static_cast<std::ptrdiff_t>(offset));
    return header;
}

struct Answer {
    std::optional<DibHeader> header;
    /// What stands where the header's reader stopped.
    std::optional<std::uint8_t> next;
};

Answer read(const Bytes& bytes, std::uint64_t pixels = 0) {
    InputFile file(bytes);
    SequentialReader reader(file.source());
    Answer answer;
    answer.header = readDibHeader(reader, pixels);
    answer.next = reader.byte();
    return answer;
}

} // namespace

TEST_CASE("a bitmap's header has one of eight lengths") {
    CHECK(read(core(24)).header->size == Size{3, 2});
    CHECK(read(core(24)).header->depth == 24);
    for (const std::uint32_t length : {16U, 40U, 52U, 56U, 64U, 108U, 124U}) {
        CAPTURE(length);
        const auto header = read(dib(length, 24)).header;
        REQUIRE(header);
        CHECK(header->size == Size{3, 2});
        CHECK(header->depth == 24);
        CHECK(header->coding == DibCoding::plain);
        CHECK(header->colours == DibColours::unspecified);
        CHECK_FALSE(header->topDown);
    }
    for (const std::uint32_t length : {0U, 11U, 13U, 36U, 41U, 128U, 0xffff'ffffU})
        CHECK_FALSE(read(with(dib(200, 24), 0, length)).header);
}

TEST_CASE("a bitmap of negative height begins with its highest row") {
    const auto header = read(dib(40, 24, 0, 0, static_cast<std::uint32_t>(-2))).header;
    REQUIRE(header);
    CHECK(header->topDown);
    CHECK(header->size == Size{3, 2});
    CHECK_FALSE(read(with(dib(40, 24), 4, static_cast<std::uint32_t>(-3))).header);
}

TEST_CASE("a coding belongs to its depths, and to its system") {
    const auto coding = [](std::uint32_t length, std::uint16_t depth, std::uint32_t compression) {
        const auto header = read(joined({dib(length, depth, compression), Bytes(1024)})).header;
        return header ? std::optional(header->coding) : std::nullopt;
    };
    for (const std::uint16_t depth : Depths{1, 2, 4, 8, 16, 24, 32})
        CHECK(coding(40, depth, 0) == DibCoding::plain);
    for (const std::uint16_t depth : Depths{0, 3, 5, 15, 33}) CHECK_FALSE(coding(40, depth, 0));
    CHECK(coding(40, 8, rle8) == DibCoding::rle8);
    CHECK(coding(40, 4, rle4) == DibCoding::rle4);
    CHECK(coding(64, 24, os2Rle24) == DibCoding::rle24);
    CHECK_FALSE(coding(40, 4, rle8));
    CHECK_FALSE(coding(40, 8, rle4));
    CHECK_FALSE(coding(40, 24, os2Rle24));
    CHECK_FALSE(coding(64, 32, os2Rle24));
    CHECK_FALSE(coding(64, 16, bitFields));
    CHECK_FALSE(coding(40, 8, bitFields));
    CHECK_FALSE(coding(40, 24, 5));
}

TEST_CASE("pixels of 16 and 32 bits have masks of their own or the usual ones") {
    using Masks = std::array<std::uint32_t, 4>;
    const auto masks = [](const Bytes& header) {
        const auto answer = read(header).header;
        return answer ? std::optional(answer->masks) : std::nullopt;
    };
    const auto after = [](std::uint32_t compression, std::uint16_t depth, const Masks& values) {
        return joined({dib(40, depth, compression), littleEndian32(values[0]),
                       littleEndian32(values[1]), littleEndian32(values[2]),
                       littleEndian32(values[3])});
    };
    CHECK(masks(dib(40, 16)) == Masks{0x7c00, 0x03e0, 0x001f, 0});
    CHECK(masks(dib(40, 32)) == Masks{0xff0000, 0x00ff00, 0x0000ff, 0});
    constexpr Masks own = {0xf000, 0x0f00, 0x00f0, 0x000f};
    CHECK(masks(after(bitFields, 16, own)) == Masks{own[0], own[1], own[2], 0});
    CHECK(masks(after(alphaBitFields, 16, own)) == own);
    Bytes inside = dib(124, 16, bitFields);
    for (std::size_t i = 0; i < own.size(); ++i) inside = with(inside, 40 + 4 * i, own[i]);
    CHECK(masks(inside) == own);
    inside.resize(52);
    CHECK(masks(with(inside, 0, 52)) == Masks{own[0], own[1], own[2], 0});
    CHECK_FALSE(masks(after(bitFields, 16, {})));
    CHECK_FALSE(masks(after(bitFields, 16, {0xf000, 0x0b00, 0x00f0, 0})));
    CHECK_FALSE(masks(after(bitFields, 16, {0x10000, 0x0f00, 0x00f0, 0})));
    CHECK(masks(after(bitFields, 32, {0xffffffff, 0, 0, 0})));
}

TEST_CASE("only 32 bits without masks leave the fourth byte unspecified") {
    CHECK(read(dib(40, 32)).header->fourthByteUnspecified);
    CHECK_FALSE(read(dib(40, 24)).header->fourthByteUnspecified);
    CHECK_FALSE(read(joined({dib(40, 32, bitFields), littleEndian32(255), Bytes(8)}))
                    .header->fourthByteUnspecified);
}

TEST_CASE("a palette has as many entries as its header says, or as its depth allows") {
    const Bytes entries = {1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0, 10, 11, 12, 0};
    const auto full = read(joined({dib(40, 2), entries, {77}}));
    REQUIRE(full.header);
    CHECK(full.header->palette[0] == std::array<std::uint8_t, 3>{3, 2, 1});
    CHECK(full.header->palette[3] == std::array<std::uint8_t, 3>{12, 11, 10});
    CHECK(full.next == 77);
    const auto two = read(joined({dib(40, 2, 0, 2), entries}));
    CHECK(two.header->palette[1] == std::array<std::uint8_t, 3>{6, 5, 4});
    CHECK(two.header->palette[2] == std::array<std::uint8_t, 3>{});
    CHECK(two.next == 7);
    const auto tooMany = read(joined({dib(40, 1, 0, 4), entries, {77}}));
    CHECK(tooMany.header->palette[2] == std::array<std::uint8_t, 3>{});
    CHECK(tooMany.next == 77);
    const auto skipped = read(joined({dib(40, 24, 0, 4), entries, {77}}));
    CHECK(skipped.next == 77);
    const auto oldest = read(joined({core(1), {1, 2, 3, 4, 5, 6}, {77}}));
    CHECK(oldest.header->palette[1] == std::array<std::uint8_t, 3>{6, 5, 4});
    CHECK(oldest.next == 77);
}

TEST_CASE("a palette ends where the pixels begin") {
    const Bytes file = joined({dib(40, 8), Bytes(8, 9), {77, 78}});
    const auto ended = read(file, 48);
    REQUIRE(ended.header);
    CHECK(ended.header->palette[1] == std::array<std::uint8_t, 3>{9, 9, 9});
    CHECK(ended.header->palette[2] == std::array<std::uint8_t, 3>{});
    CHECK(ended.next == 77);
    CHECK(read(joined({dib(40, 24), {77, 78}}), 41).next == 78);
    CHECK_FALSE(read(file, 39).header);
    CHECK_FALSE(read(file, 51).header);
}

TEST_CASE("the longest headers say which colours the pixels have") {
    constexpr std::size_t space = 56;
    constexpr std::uint32_t srgb = 0x73524742;
    constexpr std::uint32_t windowsColours = 0x57696e20;
    constexpr std::uint32_t embedded = 0x4d424544;
    for (const std::uint32_t length : {108U, 124U})
        for (const std::uint32_t value : {srgb, windowsColours})
            CHECK(read(with(dib(length, 24), space, value)).header->colours == DibColours::srgb);
    const Bytes profile = with(with(with(dib(124, 24), space, embedded), 112, 500), 116, 600);
    const auto header = read(profile).header;
    REQUIRE(header);
    CHECK(header->colours == DibColours::profile);
    CHECK(header->profileOffset == 500);
    CHECK(header->profileLength == 600);
    CHECK(read(with(dib(108, 24), space, embedded)).header->colours == DibColours::unspecified);
}

TEST_CASE("a header that is cut short is none") {
    for (const Bytes& file :
         {joined({core(1), Bytes(6)}), joined({dib(40, 1), Bytes(8)}), dib(124, 24),
          joined({dib(40, 16, bitFields), littleEndian32(1), Bytes(8)})}) {
        CHECK(read(file).header);
        for (std::size_t length = 0; length < file.size(); ++length) {
            CAPTURE(length);
            const auto end = file.begin() + static_cast<std::ptrdiff_t>(length);
            CHECK_FALSE(read(Bytes(file.begin(), end)).header);
        }
    }
}
