#include "decoder/formats/webp/webp.h"

#include <string_view>

#include <doctest/doctest.h>

#include "tests/decoder/formats/recorded_picture.h"

using namespace sorvane::decoder;
using namespace sorvane::test;
using namespace std::string_view_literals;

namespace {

RecordedPicture recorded(const Bytes& file) { return {openWebp, file}; }

Bytes chunk(std::string_view name, const Bytes& data) {
    return joined({bytes(name), littleEndian32(static_cast<std::uint32_t>(data.size())), data,
                   Bytes(data.size() % 2)});
}

Bytes riff(std::initializer_list<Bytes> chunks) {
    return chunk("RIFF", joined({bytes("WEBP"), joined(chunks)}));
}

Bytes header(std::uint8_t flags, std::uint8_t width, std::uint8_t height) {
    return chunk("VP8X", {flags, 0, 0, 0, static_cast<std::uint8_t>(width - 1), 0, 0,
                          static_cast<std::uint8_t>(height - 1), 0, 0});
}

// 2 by 1 pixels, all of them red 40, green 30, blue 20, alpha 200: five codes of one symbol each.
const Bytes pixels = chunk("VP8L", bytes("\x2f\x01\x00\x00\x10\xa8\x47\x51\x4a\x51\xe4\x00"sv));
const Bytes colours = {40, 30, 20, 200};

constexpr std::uint8_t withProfile = 0x20;
constexpr std::uint8_t withExif = 0x08;

Bytes exif(std::uint8_t orientation) {
    return joined(
        {bytes("MM"), {0, 42, 0, 0, 0, 8, 0, 1, 1, 18, 0, 3, 0, 0}, {0, 1, 0, orientation, 0, 0}});
}

} // namespace

TEST_CASE("pixels are handed over straight, in the order red, green, blue, alpha") {
    const auto picture = recorded(riff({pixels}));
    REQUIRE(picture.whole);
    CHECK(picture.header->size == Size{2, 1});
    CHECK(picture.header->samples.channels == Channels::rgba);
    CHECK(picture.header->colour.empty());
    CHECK(picture.samples == joined({colours, colours}));
}

TEST_CASE("a frame stands on its transparent canvas") {
    const Bytes position = {1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 9, 0, 0, 0};
    const auto picture =
        recorded(riff({header(0, 5, 3), chunk("ANMF", joined({position, pixels})), pixels}));
    REQUIRE(picture.whole);
    CHECK(picture.header->size == Size{5, 3});
    CHECK(picture.samples == joined({Bytes(48), colours, colours, Bytes(4)}));
}

TEST_CASE("an orientation counts where it is announced, after the pixels too") {
    const auto orientation = [](std::uint8_t flags, const Bytes& before, const Bytes& after) {
        return recorded(riff({header(flags, 2, 1), before, pixels, after})).header->orientation;
    };
    const Bytes turned = chunk("EXIF", exif(6));
    const Bytes named = chunk("EXIF", joined({bytes("Exif\0\0"sv), exif(8)}));
    CHECK(orientation(withExif, {}, turned) == Orientation::quarterTurn);
    CHECK(orientation(withExif, turned, named) == Orientation::quarterTurn);
    CHECK(orientation(withExif, {}, named) == Orientation::threeQuarterTurn);
    CHECK(orientation(0, turned, named) == Orientation::upright);
    Bytes cut = riff({header(withExif, 2, 1), pixels, turned});
    cut.pop_back();
    CHECK_FALSE(recorded(cut).header);
}

TEST_CASE("a profile is handed on where it is announced") {
    const auto statements = [](std::uint8_t flags, const Bytes& before, const Bytes& after) {
        return recorded(riff({header(flags, 2, 1), before, pixels, after})).header->colour;
    };
    const Bytes profile = chunk("ICCP", {1, 2, 3});
    const ColourStatements said = statements(withProfile, profile, {});
    REQUIRE(said.size() == 1);
    CHECK(std::get<IccProfile>(said.front()).bytes == Bytes{1, 2, 3});
    CHECK(statements(withProfile, joined({profile, profile}), profile).size() == 1);
    CHECK(statements(withProfile, {}, profile).empty());
    CHECK(statements(0, profile, {}).empty());
}

TEST_CASE("a picture that is cut short is not whole") {
    const Bytes file = riff({header(0, 2, 1), pixels});
    CHECK(recorded(file).whole);
    for (std::size_t length = 0; length < file.size(); ++length) {
        CAPTURE(length);
        const auto end = file.begin() + static_cast<std::ptrdiff_t>(length);
        CHECK_FALSE(recorded(Bytes(file.begin(), end)).whole);
    }
}

TEST_CASE("sizes must agree") {
    CHECK(recorded(riff({header(0, 2, 1), pixels})).whole);
    CHECK_FALSE(recorded(riff({header(0, 3, 1), pixels})).whole);
    CHECK_FALSE(recorded(riff({header(0, 2, 2), pixels})).whole);
}
