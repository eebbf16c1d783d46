#include "decoder/formats/heif/nclx_colour.h"

#include <array>
#include <cmath>
#include <string_view>
#include <utility>

#include "decoder/colour/srgb.h"

namespace sorvane::decoder {

namespace {

using Bytes = std::vector<std::uint8_t>;
using srgb::Xyz;

// The code points that occur in pictures.
constexpr std::uint32_t bt709 = 1;
constexpr std::uint32_t unspecified = 2;
constexpr std::uint32_t gamma22 = 4;
constexpr std::uint32_t gamma28 = 5;
constexpr std::uint32_t bt601 = 6;
constexpr std::uint32_t bt2020 = 9;
constexpr std::uint32_t displayP3 = 12;
constexpr std::uint32_t srgbTransfer = 13;
constexpr std::uint32_t bt2020TenBits = 14;
constexpr std::uint32_t bt2020TwelveBits = 15;

/// Red, green and blue, adapted to the white of profiles (D50).
using Primaries = std::array<Xyz, 3>;
constexpr Primaries bt709Primaries = {srgb::red, srgb::green, srgb::blue};
constexpr Primaries displayP3Primaries = {
    {{0.51512, 0.24120, -0.00105}, {0.29198, 0.69225, 0.04189}, {0.15710, 0.06657, 0.78407}}};
constexpr Primaries bt2020Primaries = {
    {{0.67348, 0.27904, -0.00194}, {0.16567, 0.67535, 0.02999}, {0.12505, 0.04561, 0.79686}}};

/// The parameters of a profile's curve of type 3: (a * x + b) to the power of g from d on, c * x
/// below; in the order g, a, b, c, d.
using Curve = std::array<double, 5>;
constexpr Curve cameraCurve = {1 / 0.45, 1 / 1.099, 0.099 / 1.099, 1 / 4.5, 0.081};
constexpr Curve plainCurve(double gamma) { return {gamma, 1, 0, 0, 0}; }

// Nothing: a transfer that is not read. `unspecified` has the curve that is usual.
std::optional<Curve> curveOf(std::uint32_t transfer, const Curve& usual) {
    switch (transfer) {
    case unspecified:
        return usual;
    case srgbTransfer:
        return srgb::curve;
    case gamma22:
        return plainCurve(2.2);
    case gamma28:
        return plainCurve(2.8);
    case bt709:
    case bt601:
    case bt2020TenBits:
    case bt2020TwelveBits:
        return cameraCurve;
    default:
        return std::nullopt;
    }
}

void put(Bytes& to, std::string_view text) {
    for (const char character : text) to.push_back(static_cast<std::uint8_t>(character));
}
void put(Bytes& to, std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8)
        to.push_back(static_cast<std::uint8_t>(value >> shift));
}
template<std::size_t count>
void putFixed(Bytes& to, const std::array<double, count>& values) {
    for (const double value : values)
        put(to, static_cast<std::uint32_t>(std::lround(value * 65536)));
}

struct Tag {
    std::string_view name;
    Bytes data;
};

Tag xyzTag(std::string_view name, const Xyz& values) {
    Tag tag{name, {}};
    put(tag.data, "XYZ ");
    put(tag.data, 0);
    putFixed(tag.data, values);
    return tag;
}

Tag curveTag(std::string_view name, const Curve& curve) {
    Tag tag{name, {}};
    put(tag.data, "para");
    put(tag.data, 0);
    put(tag.data, 3U << 16);
    putFixed(tag.data, curve);
    return tag;
}

// Of the profile's header only what is read of it; the rest is left zero.
IccProfile profileOf(const Primaries& primaries, const Curve& curve) {
    constexpr Xyz white = srgb::profileWhite;
    const std::array tags = {xyzTag("wtpt", white),        xyzTag("rXYZ", primaries[0]),
                             xyzTag("gXYZ", primaries[1]), xyzTag("bXYZ", primaries[2]),
                             curveTag("rTRC", curve),      curveTag("gTRC", curve),
                             curveTag("bTRC", curve)};
    constexpr std::size_t headerLength = 128;
    const std::size_t tableLength = 4 + 12 * tags.size();
    Bytes table;
    Bytes data;
    put(table, tags.size());
    for (const Tag& tag : tags) {
        put(table, tag.name);
        put(table, static_cast<std::uint32_t>(headerLength + tableLength + data.size()));
        put(table, static_cast<std::uint32_t>(tag.data.size()));
        data.insert(data.end(), tag.data.begin(), tag.data.end());
    }
    Bytes bytes;
    put(bytes, static_cast<std::uint32_t>(headerLength + tableLength + data.size()));
    put(bytes, 0);
    put(bytes, 0x04200000); // version 4, the first with parametric curves
    put(bytes, "mntrRGB XYZ ");
    bytes.resize(36);
    put(bytes, "acsp");
    bytes.resize(68);
    putFixed(bytes, white);
    bytes.resize(headerLength);
    bytes.insert(bytes.end(), table.begin(), table.end());
    bytes.insert(bytes.end(), data.begin(), data.end());
    return {std::move(bytes)};
}

} // namespace

std::optional<ColourStatement> nclxColour(std::uint32_t primaries, std::uint32_t transfer) {
    const auto curve = curveOf(transfer, primaries == bt2020 ? cameraCurve : srgb::curve);
    if (!curve) return std::nullopt;
    switch (primaries) {
    case bt709:
    case unspecified:
        if (*curve == srgb::curve || *curve == cameraCurve) return DeclaredSrgb{};
        return profileOf(bt709Primaries, *curve);
    case displayP3:
        return profileOf(displayP3Primaries, *curve);
    case bt2020:
        return profileOf(bt2020Primaries, *curve);
    default:
        return std::nullopt;
    }
}

} // namespace sorvane::decoder
