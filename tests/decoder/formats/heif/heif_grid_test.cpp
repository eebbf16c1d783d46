#include "decoder/formats/heif/heif_grid.h"

#include <doctest/doctest.h>

#include "tests/decoder/formats/heif/heif_bytes.h"
#include "tests/decoder/input_file.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

constexpr std::size_t maxFileBytes = 1 << 20;

std::optional<CodedSizes> sizesOf(const std::vector<DescribedItem>& items) {
    const Bytes body = HeifMeta(1, items).body();
    InputFile input(body);
    BufferedFile file(input.source(), maxFileBytes);
    return derivedSizes(file, 0, body.size());
}

DescribedItem grid(std::uint8_t columns, std::uint8_t rows, Size output,
                   std::vector<std::uint16_t> tiles) {
    const Bytes content =
        joined({{0, 0, static_cast<std::uint8_t>(rows - 1), static_cast<std::uint8_t>(columns - 1)},
                bigEndian(output.width, 2),
                bigEndian(output.height, 2)});
    return {"grid", {output}, std::move(tiles), 0, false, content};
}

DescribedItem coded(Size size, std::uint16_t alphaOf = 0) {
    return {"hvc1", {size}, {}, alphaOf, false, {}};
}

DescribedItem overlay(Size canvas, std::vector<std::uint16_t> parts, std::uint16_t alphaOf = 0) {
    const Bytes content = joined({{0, 1},
                                  Bytes(8),
                                  bigEndian(canvas.width, 4),
                                  bigEndian(canvas.height, 4),
                                  Bytes(8 * parts.size())});
    return {"iovl", {canvas}, std::move(parts), alphaOf, false, content};
}

constexpr Size tile = {64, 64};
constexpr Size other = {64, 32};

// Two tiles side by side, and further items.
std::vector<DescribedItem> pair(const std::vector<DescribedItem>& more = {}) {
    std::vector<DescribedItem> items = {grid(2, 1, {100, 50}, {2, 3}), coded(tile), coded(tile)};
    items.insert(items.end(), more.begin(), more.end());
    return items;
}

} // namespace

TEST_CASE("a picture that is no grid may be coded in any size") {
    CHECK(sizesOf({coded({10, 20})}) == CodedSizes{});
    CHECK(sizesOf({coded({10, 20}), coded({5, 5}, 1)}) == CodedSizes{});
    CHECK(sizesOf({{"iden", {{10, 20}}, {2}, 0, true, {}}, coded({10, 20})}) == CodedSizes{});
    CHECK(sizesOf({overlay({10, 20}, {2, 3}), coded({1, 2}), coded({3, 4})}) == CodedSizes{});
}

TEST_CASE("the tiles of a grid have one size, and cover it") {
    CHECK(sizesOf(pair()) == CodedSizes{tile});
    CHECK(sizesOf({grid(2, 1, {128, 64}, {2, 2}), coded(tile)}) == CodedSizes{tile});
    CHECK(sizesOf({{"iden", {{100, 50}}, {2}, 0, false, {}},
                   grid(2, 1, {100, 50}, {3, 4}),
                   coded(tile),
                   coded(tile)}) == CodedSizes{tile});
    DescribedItem wide = grid(2, 1, {100, 50}, {2, 3});
    wide.content = joined({{0, 1, 0, 1}, bigEndian(100, 4), bigEndian(50, 4)});
    CHECK(sizesOf({wide, coded(tile), coded(tile)}) == CodedSizes{tile});

    CHECK_FALSE(sizesOf({grid(2, 1, {129, 64}, {2, 3}), coded(tile), coded(tile)}));
    CHECK_FALSE(sizesOf({grid(2, 1, {128, 65}, {2, 3}), coded(tile), coded(tile)}));
    CHECK_FALSE(sizesOf({grid(2, 1, {100, 50}, {2, 3}), coded(tile), coded(other)}));
}

TEST_CASE("the tiles of a grid are as many as it says, coded, and not transformed") {
    CHECK_FALSE(sizesOf({grid(2, 1, {100, 50}, {2}), coded(tile)}));
    CHECK_FALSE(sizesOf({grid(1, 1, {60, 50}, {2, 3}), coded(tile), coded(tile)}));
    CHECK_FALSE(sizesOf({grid(2, 1, {100, 50}, {2, 9}), coded(tile)}));
    CHECK_FALSE(sizesOf({grid(1, 1, {60, 50}, {1})}));
    CHECK_FALSE(sizesOf({grid(1, 1, {60, 50}, {2}), {"jpeg", {tile}, {}, 0, false, {}}}));
    CHECK_FALSE(sizesOf({grid(1, 1, {60, 50}, {2}), {"hvc1", {tile}, {}, 0, true, {}}}));
    CHECK_FALSE(sizesOf({grid(1, 1, {60, 50}, {2}), {"hvc1", {tile, tile}, {}, 0, false, {}}}));
    CHECK_FALSE(sizesOf({grid(1, 1, {60, 50}, {2}), {"hvc1", {}, {}, 0, false, {}}}));
}

TEST_CASE("a grid has the size that it is declared to have, and a whole content") {
    DescribedItem declared = grid(1, 1, {60, 50}, {2});
    declared.sizes = {{60, 51}};
    CHECK_FALSE(sizesOf({declared, coded(tile)}));
    declared.sizes = {};
    CHECK_FALSE(sizesOf({declared, coded(tile)}));
    DescribedItem cut = grid(1, 1, {60, 50}, {2});
    CHECK(sizesOf({cut, coded(tile)}));
    cut.content.pop_back();
    CHECK_FALSE(sizesOf({cut, coded(tile)}));
}

TEST_CASE("alpha beside a grid is a grid of the same tiles, or one picture of its size") {
    DescribedItem alphaGrid = grid(2, 1, {100, 50}, {5, 6});
    alphaGrid.alphaOf = 1;
    CHECK(sizesOf(pair({alphaGrid, coded(tile), coded(tile)})) == CodedSizes{tile});
    CHECK_FALSE(sizesOf(pair({alphaGrid, coded(other), coded(other)})));
    CHECK(sizesOf(pair({coded({100, 50}, 1)})) == CodedSizes{{100, 50}, tile});
    CHECK_FALSE(sizesOf(pair({coded({100, 51}, 1)})));
    CHECK_FALSE(sizesOf(pair({coded({100, 50}, 1), coded({100, 50}, 1)})));
}

TEST_CASE("a tile's own alpha is coded and plain, and has no whole one beside it") {
    CHECK(sizesOf(pair({coded(tile, 2)})) == CodedSizes{tile});
    CHECK_FALSE(sizesOf(pair({{"hvc1", {tile}, {}, 2, true, {}}})));
    CHECK_FALSE(sizesOf(pair({grid(1, 1, {60, 50}, {3}), {"grid", {tile}, {}, 2, false, {}}})));
    CHECK_FALSE(sizesOf(pair({coded(tile, 2), coded(tile, 4)})));
    CHECK_FALSE(sizesOf(pair({coded(tile, 2), coded(tile, 2)})));
    CHECK_FALSE(sizesOf(pair({coded(tile, 2), coded({100, 50}, 1)})));
}

TEST_CASE("an overlay is one of coded pictures, on a canvas within the budget") {
    CHECK_FALSE(sizesOf({overlay({10, 20}, {2}), grid(1, 1, {60, 50}, {3}), coded(tile)}));
    CHECK_FALSE(sizesOf({overlay({10, 20}, {9})}));
    CHECK(sizesOf({overlay({7500, 8000}, {2}), coded(tile)}));
    for (const Size canvas : {Size{7501, 8000}, Size{34'000, 34'000}, Size{0, 20}, Size{10, 0}})
        CHECK_FALSE(sizesOf({overlay(canvas, {2}), coded(tile)}));
    DescribedItem narrow = overlay({}, {2});
    narrow.content = joined({{0, 0}, Bytes(8), bigEndian(10, 2), bigEndian(20, 2), Bytes(4)});
    CHECK(sizesOf({narrow, coded(tile)}));
    narrow.content.resize(13);
    CHECK_FALSE(sizesOf({narrow, coded(tile)}));
}

TEST_CASE("an item that many refer to is followed once") {
    // Three overlays of a hundred pictures, each the alpha of the first picture of the one before.
    std::vector<DescribedItem> items;
    const auto group = [](std::uint16_t first) {
        std::vector<std::uint16_t> parts(1'200, first);
        for (std::uint16_t i = 0; i < 100; ++i) parts[i] = static_cast<std::uint16_t>(first + i);
        return parts;
    };
    for (const std::uint16_t of : std::vector<std::uint16_t>{0, 4, 104})
        items.push_back(
            overlay({64, 64}, group(static_cast<std::uint16_t>(of == 0 ? 4 : of + 100)), of));
    for (int i = 0; i < 300; ++i) items.push_back({"hvc1", {}, {}, 0, false, {}});
    CHECK(sizesOf(items));
}

TEST_CASE("no item of a derivation is cut") {
    const auto cut = [](DescribedItem item) {
        item.cut = true;
        return item;
    };
    const DescribedItem whole = coded(tile);
    CHECK_FALSE(sizesOf({cut(whole)}));
    CHECK_FALSE(sizesOf({whole, cut(coded(tile, 1))}));
    CHECK_FALSE(sizesOf({{"iden", {}, {2}, 0, false, {}}, cut(whole)}));
    CHECK_FALSE(sizesOf({grid(2, 1, {100, 50}, {2, 3}), whole, cut(whole)}));
    CHECK_FALSE(sizesOf(pair({cut(coded(tile, 2))})));
    CHECK(sizesOf({whole, cut(whole)}));
}

TEST_CASE("derivations end, and soon") {
    const auto chain = [](std::uint16_t length) {
        std::vector<DescribedItem> items;
        for (std::uint16_t id = 1; id < length; ++id)
            items.push_back({"iden", {}, {static_cast<std::uint16_t>(id + 1)}, 0, false, {}});
        items.push_back(coded(tile));
        return items;
    };
    CHECK(sizesOf(chain(maxDerivationDepth)));
    CHECK_FALSE(sizesOf(chain(maxDerivationDepth + 1)));
    CHECK_FALSE(sizesOf({{"iden", {}, {1}, 0, false, {}}}));
    CHECK_FALSE(sizesOf({coded(tile, 1)}));
    CHECK_FALSE(
        sizesOf({coded(tile), coded(tile, 1), coded(tile, 2), coded(tile, 3), coded(tile, 4),
                 coded(tile, 5), coded(tile, 6), coded(tile, 7), coded(tile, 8)}));
    CHECK_FALSE(sizesOf({{"iden", {}, {}, 0, false, {}}}));
    CHECK_FALSE(sizesOf({{"iden", {}, {2, 2}, 0, false, {}}, coded(tile)}));
}
