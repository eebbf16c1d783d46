#include "decoder/formats/heif/heif_items.h"

#include <tuple>

#include <doctest/doctest.h>

#include "decoder/input/four_letter_code.h"
#include "tests/decoder/formats/heif/heif_bytes.h"
#include "tests/decoder/input_file.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

constexpr std::size_t maxFileBytes = 1 << 20;

// After some bytes of the file that do not belong to the box.
constexpr std::size_t bodyOffset = 5;

std::optional<HeifItems> itemsOf(const Bytes& body) {
    InputFile input(joined({Bytes(bodyOffset), body}));
    BufferedFile file(input.source(), maxFileBytes);
    return readHeifItems(file, bodyOffset, bodyOffset + body.size());
}

const Bytes noFlags(4);
const Bytes primaryBox = fullBox("pitm", {0, 7});
const Bytes itemBox =
    fullBox("iinf", joined({{0, 1}, fullBox("infe", joined({{0, 7, 0, 0}, bytes("hvc1")}), 2)}));
const Bytes propertyBox = box("iprp", joined({box("ipco", {}), fullBox("ipma", bigEndian(0, 4))}));

// The one item, number 7, of a description with these locations.
std::optional<HeifItem> itemAt(const Bytes& locations, std::uint8_t version,
                               const Bytes& more = {}) {
    const auto items = itemsOf(joined(
        {noFlags, primaryBox, itemBox, propertyBox, fullBox("iloc", locations, version), more}));
    return items ? std::optional(items->items.at(7)) : std::nullopt;
}

} // namespace

TEST_CASE("items are read with what they are derived from, their alpha and their sizes") {
    const auto items = itemsOf(HeifMeta(1, {{"grid", {{100, 50}}, {2, 3}, 0, false, {}},
                                            {"hvc1", {{64, 64}}, {}, 0, true, {}},
                                            {"av01", {{64, 64}, {1, 2}}, {}, 0, false, {}},
                                            {"hvc1", {{100, 50}}, {}, 1, false, {}}})
                                   .body());
    REQUIRE(items);
    CHECK(items->primary == 1);
    REQUIRE(items->items.size() == 4);
    const auto& [grid, turned, other, alpha] =
        std::tie(items->items.at(1), items->items.at(2), items->items.at(3), items->items.at(4));
    CHECK(grid.type == fourLetterCode("grid"));
    CHECK(grid.parts == std::vector<std::uint32_t>{2, 3});
    CHECK(grid.alphas == std::vector<std::uint32_t>{4});
    CHECK(grid.sizes == std::vector<Size>{{100, 50}});
    CHECK_FALSE(grid.transformed);
    CHECK_FALSE(grid.isAlpha);
    CHECK(turned.transformed);
    CHECK(other.type == fourLetterCode("av01"));
    CHECK(other.sizes == std::vector<Size>{{64, 64}, {1, 2}});
    CHECK(alpha.isAlpha);
    CHECK(alpha.parts.empty());
}

TEST_CASE("the wide forms of all boxes are read") {
    const Bytes name = joined({bigEndian(70'000, 4), {0, 0}, bytes("hvc1")});
    const Bytes longBox = joined({bigEndian(1, 4), bytes("ipco"), bigEndian(16 + 20 * 200, 8)});
    Bytes properties = longBox;
    for (std::uint32_t i = 1; i <= 200; ++i)
        properties = joined({properties, sizeProperty({i, 9})});
    const auto items = itemsOf(joined(
        {noFlags, fullBox("pitm", bigEndian(70'000, 4), 1),
         fullBox("iinf", joined({bigEndian(1, 4), fullBox("infe", name, 3)}), 1),
         box("iprp", joined({properties, fullBox("ipma",
                                                 joined({bigEndian(1, 4),
                                                         bigEndian(70'000, 4),
                                                         {1},
                                                         bigEndian(0x8000 | 200, 2)}),
                                                 1, 1)})),
         fullBox("iloc",
                 joined({{0x88, 0x84},
                         bigEndian(1, 4),
                         bigEndian(70'000, 4),
                         {0, 0, 0, 0},
                         bigEndian(1000, 8),
                         {0, 1},
                         bigEndian(0, 4),
                         bigEndian(234, 8),
                         bigEndian(56, 8)}),
                 2),
         fullBox("iref", box("dimg", joined({bigEndian(70'000, 4), {0, 1}, bigEndian(80'000, 4)})),
                 1)}));
    REQUIRE(items);
    CHECK(items->primary == 70'000);
    const HeifItem& item = items->items.at(70'000);
    CHECK(item.sizes == std::vector<Size>{{200, 9}});
    CHECK(item.parts == std::vector<std::uint32_t>{80'000});
    CHECK(item.offset == 1234);
    CHECK(item.length == 56);
}

TEST_CASE("an item's bytes lie in the file or in idat") {
    const auto inFile = itemAt(joined({{0x44, 0x40, 0, 1, 0, 7, 0, 0},
                                       bigEndian(100, 4),
                                       {0, 1},
                                       bigEndian(23, 4),
                                       bigEndian(9, 4)}),
                               0);
    REQUIRE(inFile);
    CHECK(inFile->offset == 123);
    CHECK(inFile->length == 9);

    const Bytes inData =
        joined({{0x44, 0, 0, 1, 0, 7, 0, 1, 0, 0, 0, 1}, bigEndian(2, 4), bigEndian(3, 4)});
    const Bytes before = joined({noFlags, primaryBox, itemBox, propertyBox});
    const std::size_t dataOffset = bodyOffset + before.size() + 12 + inData.size() + 8;
    const auto inIdat = itemAt(inData, 1, box("idat", bytes("abcdefg")));
    REQUIRE(inIdat);
    CHECK(inIdat->offset == dataOffset + 2);
    CHECK(inIdat->length == 3);
}

TEST_CASE("an item in several pieces, or one that lies elsewhere, has no offset") {
    const Bytes pieces = joined({{0x44, 0, 0, 1, 0, 7, 0, 0, 0, 2},
                                 bigEndian(10, 4),
                                 bigEndian(5, 4),
                                 bigEndian(20, 4),
                                 bigEndian(5, 4)});
    const auto method = [](std::uint8_t number) {
        return joined(
            {{0x44, 0, 0, 1, 0, 7, 0, number, 0, 0, 0, 1}, bigEndian(10, 4), bigEndian(5, 4)});
    };
    for (const auto& item : {itemAt(pieces, 0), itemAt(method(2), 1)}) {
        REQUIRE(item);
        CHECK(item->offset == 0);
        CHECK(item->length == 0);
    }
    CHECK(itemAt(method(0), 1)->offset == 10);
}

TEST_CASE("an item whose bytes are not all in idat is cut") {
    const auto isCut = [](std::uint32_t base, std::uint32_t offset, std::uint32_t length) {
        const auto item = itemAt(joined({{0x44, 0x40, 0, 1, 0, 7, 0, 1, 0, 0},
                                         bigEndian(base, 4),
                                         {0, 2},
                                         bigEndian(offset, 4),
                                         bigEndian(length, 4),
                                         bigEndian(0, 4),
                                         bigEndian(1, 4)}),
                                 1, box("idat", bytes("abcdefg")));
        REQUIRE(item);
        return item->cut;
    };
    CHECK_FALSE(isCut(0, 0, 7));
    CHECK_FALSE(isCut(1, 5, 1));
    CHECK(isCut(1, 5, 2));
    CHECK(isCut(0, 8, 0));
    CHECK(isCut(7, 0, 0));
    CHECK(isCut(0, 0, 0xffff'ffff));
    CHECK(itemAt({0x44, 0, 0, 1, 0, 7, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 1}, 1)->cut);
    CHECK_FALSE(itemAt({0x44, 0, 0, 1, 0, 7, 0, 0, 0, 0, 0, 1, 0, 0, 0, 99, 0, 0, 0, 1}, 1)->cut);
}

TEST_CASE("properties that do not exist are ignored") {
    const Bytes owners = joined({bigEndian(1, 4), {0, 7, 3, 0x80, 0x82, 0x81}});
    const auto items = itemsOf(
        joined({noFlags, primaryBox, itemBox,
                box("iprp", joined({box("ipco", sizeProperty({3, 4})), fullBox("ipma", owners)})),
                fullBox("iloc", {0x44, 0, 0, 0})}));
    REQUIRE(items);
    CHECK(items->items.at(7).sizes == std::vector<Size>{{3, 4}});
}

TEST_CASE("a description that is cut short or contradicts itself is rejected") {
    const Bytes locationBox = fullBox("iloc", {0x44, 0, 0, 0});
    const Bytes whole = joined({noFlags, primaryBox, itemBox, propertyBox, locationBox});
    CHECK(itemsOf(whole));
    for (std::size_t length = 0; length < whole.size(); ++length) {
        CAPTURE(length);
        CHECK_FALSE(itemsOf({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)}));
    }
    for (const Bytes& missing : {primaryBox, itemBox, propertyBox, locationBox}) {
        Bytes rest = noFlags;
        for (const Bytes& kept : {primaryBox, itemBox, propertyBox, locationBox})
            if (kept != missing) rest = joined({rest, kept});
        CHECK_FALSE(itemsOf(rest));
    }
    const Bytes entry = fullBox("infe", joined({{0, 7, 0, 0}, bytes("hvc1")}), 2);
    CHECK_FALSE(
        itemsOf(joined({noFlags, primaryBox, fullBox("iinf", joined({{0, 2}, entry, entry})),
                        propertyBox, locationBox})));
    const Bytes derived = box("dimg", {0, 7, 0, 1, 0, 7});
    CHECK(itemsOf(joined({whole, fullBox("iref", derived)})));
    CHECK_FALSE(itemsOf(joined({whole, fullBox("iref", joined({derived, derived}))})));
    CHECK_FALSE(itemsOf(joined({whole, {0, 0, 0, 7}, bytes("free")})));
    CHECK_FALSE(itemsOf(joined({whole, {0, 0, 0, 1}, bytes("free"), bigEndian(15, 8)})));
}
