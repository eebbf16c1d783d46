#include "decoder/formats/psd.h"

#include <doctest/doctest.h>

#include "tests/decoder/formats/recorded_picture.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

enum Mode : std::uint8_t { bits = 0, grey = 1, indexed = 2, rgb = 3, cmyk = 4, lab = 9 };

constexpr std::uint8_t raw = 0;
constexpr std::uint8_t runs = 1;

struct Form {
    Mode mode;
    std::uint8_t channels;
    std::uint8_t depth = 8;
    std::uint8_t version = 1;
    std::uint8_t width = 2;
    std::uint8_t height = 1;
    Bytes table{};
    Bytes resources{};
    Bytes layers{};
};

Bytes section(const Bytes& content) {
    return joined({bigEndian32(static_cast<std::uint32_t>(content.size())), content});
}

Bytes psd(const Form& form, std::uint8_t coding, const Bytes& pixels) {
    return joined({bytes("8BPS"),
                   {0, form.version},
                   Bytes(6),
                   {0, form.channels},
                   bigEndian32(form.height),
                   bigEndian32(form.width),
                   {0, form.depth, 0, form.mode},
                   section(form.table),
                   section(form.resources),
                   Bytes(form.version == 2 ? 4 : 0),
                   section(form.layers),
                   {0, coding},
                   pixels});
}

RecordedPicture recorded(const Form& form, std::uint8_t coding, const Bytes& pixels) {
    return {openPsd, psd(form, coding, pixels)};
}

// The section of layers whose number is negative, without any.
const Bytes withAlpha = joined({section({0xff, 0xff}), bigEndian32(0)});

} // namespace

TEST_CASE("channels come one after the other and are handed over interleaved") {
    const auto picture = recorded({rgb, 3}, raw, {1, 2, 3, 4, 5, 6});
    REQUIRE(picture.whole);
    CHECK(picture.header->size == Size{2, 1});
    CHECK(picture.header->samples.channels == Channels::rgb);
    CHECK(picture.samples == Bytes{1, 3, 5, 2, 4, 6});
    CHECK_FALSE(recorded({rgb, 3}, raw, {1, 2, 3, 4, 5}).whole);
    CHECK_FALSE(recorded({rgb, 2}, raw, {1, 2, 3, 4, 5, 6}).header);
    CHECK_FALSE(recorded({lab, 3}, raw, {1, 2, 3, 4, 5, 6}).header);
    CHECK_FALSE(recorded({rgb, 3}, 2, {1, 2, 3, 4, 5, 6}).header);
}

TEST_CASE("runs end with their row, and their lengths before them are skipped") {
    const auto row = [](const Bytes& coded) {
        Form form{grey, 1};
        form.width = 5;
        const auto picture = recorded(form, runs, joined({{0, 9}, coded}));
        return picture.whole ? picture.samples : Bytes{};
    };
    CHECK(row({254, 7, 1, 8, 9}) == Bytes{7, 7, 7, 8, 9});
    CHECK(row({128, 252, 7}) == Bytes(5, 7));
    CHECK(row({251, 7}).empty());
    CHECK(row({5, 1, 2, 3, 4, 5, 6}).empty());
    CHECK(row({252}).empty());
    CHECK(row({4, 1, 2, 3, 4}).empty());
    Form large{grey, 1};
    large.version = 2;
    CHECK(recorded(large, runs, {0, 0, 0, 2, 255, 7}).samples == Bytes{7, 7});
}

TEST_CASE("a bit of 1 is black, and inks are stored as what they leave of white") {
    CHECK(recorded({bits, 1, 1}, raw, {0x40}).samples == Bytes{255, 0});
    const auto inks = recorded({cmyk, 4}, raw, {0, 1, 2, 3, 4, 5, 254, 255});
    CHECK(inks.header->samples.channels == Channels::cmyk);
    CHECK(inks.samples == Bytes{255, 253, 251, 1, 254, 252, 250, 0});
}

TEST_CASE("indices are looked up in a table of reds, greens and blues") {
    Form form{indexed, 1};
    form.table = Bytes(768);
    form.table[5] = 1;
    form.table[256 + 5] = 2;
    form.table[512 + 5] = 3;
    const auto picture = recorded(form, raw, {5, 6});
    REQUIRE(picture.whole);
    CHECK(picture.header->samples.channels == Channels::rgb);
    CHECK(picture.samples == Bytes{1, 2, 3, 0, 0, 0});
    form.table.pop_back();
    CHECK_FALSE(recorded(form, raw, {5, 6}).header);
}

TEST_CASE("a channel beyond the colours is alpha where the layers say so") {
    Form form{grey, 2};
    const Bytes pixels = {205, 100, 100, 0};
    CHECK(recorded(form, raw, pixels).samples == Bytes{205, 100});
    form.layers = withAlpha;
    const auto picture = recorded(form, raw, pixels);
    REQUIRE(picture.whole);
    CHECK(picture.header->samples.channels == Channels::greyAlpha);
    // 205 is what 128 looks like on white with an alpha of 100; at an alpha of 0 nothing is undone.
    CHECK(picture.samples == Bytes{128, 100, 100, 0});
    form.channels = 1;
    const auto opaque = recorded(form, raw, pixels);
    REQUIRE(opaque.whole);
    CHECK(opaque.header->samples.channels == Channels::grey);
}

TEST_CASE("the profile is found among the resources") {
    const auto resource = [](std::uint16_t id, const Bytes& name, const Bytes& content) {
        return joined({bytes("8BIM"),
                       {static_cast<std::uint8_t>(id >> 8), static_cast<std::uint8_t>(id)},
                       name,
                       section(content),
                       Bytes(content.size() % 2)});
    };
    constexpr std::uint16_t profile = 1039;
    const Bytes named = {3, 'a', 'b', 'c'};
    const Bytes nameless = {0, 0};
    Form form{grey, 1};
    form.resources =
        joined({resource(1000, named, {1, 2, 3}), resource(profile, nameless, {7, 8})});
    const auto picture = recorded(form, raw, {1, 2});
    REQUIRE(picture.whole);
    REQUIRE(picture.header->colour.size() == 1);
    CHECK(std::get<IccProfile>(picture.header->colour[0]).bytes == Bytes{7, 8});
    form.resources = joined({resource(1000, named, Bytes(200)), bytes("8BIM")});
    CHECK(recorded(form, raw, {1, 2}).whole);
    CHECK(recorded(form, raw, {1, 2}).header->colour.empty());
}

TEST_CASE("a file that is cut short is not whole") {
    Form form{grey, 2};
    form.layers = withAlpha;
    const Bytes file = psd(form, raw, {1, 2, 3, 4});
    CHECK(RecordedPicture(openPsd, file).whole);
    for (std::size_t length = 0; length < file.size(); ++length) {
        CAPTURE(length);
        const auto end = file.begin() + static_cast<std::ptrdiff_t>(length);
        CHECK_FALSE(RecordedPicture(openPsd, Bytes(file.begin(), end)).whole);
    }
}
