#include "decoder/pixel_digest.h"

#include <string>

#include <doctest/doctest.h>

#include "support/sha256.h"
#include "tests/decoder/bytes.h"

using namespace sorvane::decoder;
using namespace sorvane::test;

namespace {

std::string sha256(const std::string& text) {
    sorvane::Sha256 digest;
    digest.update(text);
    return digest.hex();
}

// Grey values, in rows from left to right, as the digest is to see them in the end.
std::string expected(const std::string& size, const std::vector<int>& greys) {
    std::string text = size + ":rgba8-srgb:";
    for (const int grey : greys) text += std::string(3, static_cast<char>(grey)) + '\xff';
    return sha256(text);
}

PictureHeader header(Size size, Channels channels, Orientation orientation = Orientation::upright) {
    PictureHeader result;
    result.size = size;
    result.orientation = orientation;
    result.samples.channels = channels;
    return result;
}

PixelDigest digest(const PictureHeader& of) { return {of, ColourStep(of.colour, of.samples)}; }

std::string digestOf(const PictureHeader& of, const Bytes& samples) {
    PixelDigest result = digest(of);
    const auto stride = of.size.width * of.samples.pixelBytes();
    for (std::uint32_t y = 0; y < of.size.height; ++y)
        result.take(PixelRun::wholeRow(y, of.size.width, samples.data() + y * stride));
    return result.hex();
}

} // namespace

TEST_CASE("a red pixel is digested as FF 00 00 FF after the size") {
    CHECK(digestOf(header({1, 1}, Channels::rgb), {255, 0, 0}) ==
          sha256("1x1:rgba8-srgb:\xff" + std::string(2, '\0') + '\xff'));
}

TEST_CASE("channels are multiplied by alpha, and a transparent pixel is all zero") {
    CHECK(digestOf(header({3, 1}, Channels::rgba), {255, 128, 1, 127, 9, 8, 7, 0, 3, 2, 1, 255}) ==
          sha256("3x1:rgba8-srgb:\x7f\x40" + std::string(1, '\0') + "\x7f" + std::string(4, '\0') +
                 "\x03\x02\x01\xff"));
}

TEST_CASE("every orientation is digested upright, with the size swapped where it turns") {
    const Bytes stored = {1, 2, 3, 4, 5, 6};
    const std::vector<std::pair<std::string, std::vector<int>>> upright = {
        {"3x2", {1, 2, 3, 4, 5, 6}}, {"3x2", {3, 2, 1, 6, 5, 4}}, {"3x2", {6, 5, 4, 3, 2, 1}},
        {"3x2", {4, 5, 6, 1, 2, 3}}, {"2x3", {1, 4, 2, 5, 3, 6}}, {"2x3", {4, 1, 5, 2, 6, 3}},
        {"2x3", {6, 3, 5, 2, 4, 1}}, {"2x3", {3, 6, 2, 5, 1, 4}}};
    for (std::size_t i = 0; i < upright.size(); ++i) {
        CAPTURE(i + 1);
        const auto orientation = static_cast<Orientation>(i + 1);
        CHECK(digestOf(header({3, 2}, Channels::grey, orientation), stored) ==
              expected(upright[i].first, upright[i].second));
    }
}

TEST_CASE("rows that come together are digested as one after the other") {
    const Bytes stored = {1, 2, 3, 4, 5, 6};
    for (const bool rowsInOrder : {true, false})
        for (int number = 1; number <= 8; ++number) {
            CAPTURE(rowsInOrder);
            CAPTURE(number);
            PictureHeader of = header({2, 3}, Channels::grey, static_cast<Orientation>(number));
            of.rowsInOrder = rowsInOrder;
            PixelDigest result = digest(of);
            result.take(PixelRun::wholeRows(0, 2, 2, stored.data()));
            result.take(PixelRun::wholeRow(2, 2, stored.data() + 4));
            CHECK(result.hex() == digestOf(of, stored));
        }
}

TEST_CASE("many rows together are digested as one after the other, whatever their orientation") {
    for (const Size size : {Size{1, 2500}, Size{3, 1000}, Size{1500, 3}}) {
        Bytes stored(std::size_t{size.width} * size.height);
        for (std::size_t i = 0; i < stored.size(); ++i)
            stored[i] = static_cast<std::uint8_t>(i * 31 % 251);
        for (int number = 1; number <= 8; ++number) {
            CAPTURE(size.width);
            CAPTURE(number);
            const PictureHeader of = header(size, Channels::grey, static_cast<Orientation>(number));
            PixelDigest result = digest(of);
            result.take(PixelRun::wholeRows(0, size.height, size.width, stored.data()));
            CHECK(result.hex() == digestOf(of, stored));
        }
    }
}

TEST_CASE("rows of a pass come together too") {
    const Bytes stored = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    const Bytes odd = {4, 6, 10, 12};
    const Bytes even = {1, 3, 7, 9};
    const Bytes rest = {2, 5, 8, 11};
    for (int number = 1; number <= 8; ++number) {
        CAPTURE(number);
        PictureHeader of = header({3, 4}, Channels::grey, static_cast<Orientation>(number));
        of.rowsInOrder = false;
        PixelDigest result = digest(of);
        result.take({1, 0, 2, 2, odd.data(), 2, 2});
        result.take({0, 0, 2, 2, even.data(), 2, 2});
        result.take({0, 1, 1, 1, rest.data(), 4});
        CHECK(result.hex() == digestOf(of, stored));
    }
}

TEST_CASE("runs out of order are digested in order") {
    PictureHeader of = header({4, 2}, Channels::grey, Orientation::quarterTurn);
    of.rowsInOrder = false;
    PixelDigest result = digest(of);
    const Bytes lower = {5, 6, 7, 8};
    const Bytes even = {1, 3};
    const Bytes odd = {2, 4};
    result.take({1, 0, 1, 4, lower.data()});
    result.take({0, 1, 2, 2, odd.data()});
    result.take({0, 0, 2, 2, even.data()});
    CHECK(result.hex() == expected("2x4", {5, 1, 6, 2, 7, 3, 8, 4}));
}

TEST_CASE("rows of many blocks are digested whole, mirrored or not") {
    constexpr std::uint32_t width = 5000;
    Bytes row(width);
    std::vector<int> values;
    for (std::uint32_t x = 0; x < width; ++x) {
        row[x] = static_cast<std::uint8_t>(x * 31 % 251);
        values.push_back(row[x]);
    }
    const std::vector<int> reversed(values.rbegin(), values.rend());
    CHECK(digestOf(header({width, 1}, Channels::grey), row) == expected("5000x1", values));
    CHECK(digestOf(header({width, 1}, Channels::grey, Orientation::mirror), row) ==
          expected("5000x1", reversed));
    CHECK(digestOf(header({width, 1}, Channels::grey, Orientation::transverse), row) ==
          expected("1x5000", reversed));
}

TEST_CASE("rows with alpha are digested alike whether a block of them is opaque or not") {
    constexpr std::size_t width = 5000;
    for (const std::size_t clear : {std::size_t{0}, std::size_t{1023}, std::size_t{2500}, width})
        for (const bool mirrored : {false, true}) {
            CAPTURE(clear);
            CAPTURE(mirrored);
            Bytes row(4 * width);
            std::vector<std::string> pixels(width);
            for (std::size_t x = 0; x < width; ++x) {
                const auto value = static_cast<std::uint8_t>(x * 31 % 251);
                row[4 * x] = value;
                row[4 * x + 3] = x == clear ? 0 : 255;
                const Bytes pixel = x == clear ? Bytes(4) : Bytes{value, 0, 0, 255};
                pixels[mirrored ? width - 1 - x : x] = {pixel.begin(), pixel.end()};
            }
            std::string text = "5000x1:rgba8-srgb:";
            for (const std::string& pixel : pixels) text += pixel;
            const auto orientation = mirrored ? Orientation::mirror : Orientation::upright;
            CHECK(digestOf(header({width, 1}, Channels::rgba, orientation), row) == sha256(text));
        }
}
