#pragma once

#include <cmath>
#include <initializer_list>
#include <string_view>
#include <utility>

#include "tests/decoder/bytes.h"

/// ICC profiles written in the test.
namespace sorvane::test {

inline Bytes fixed16(double value) {
    return bigEndian32(static_cast<std::uint32_t>(std::lround(value * 65536)));
}

inline Bytes xyzTag(double x, double y, double z) {
    return joined({bytes("XYZ "), Bytes(4), fixed16(x), fixed16(y), fixed16(z)});
}

inline Bytes formulaTag(std::uint8_t kind, std::initializer_list<double> parameters) {
    Bytes tag = joined({bytes("para"), Bytes(4), {0, kind, 0, 0}});
    for (const double parameter : parameters) tag = joined({tag, fixed16(parameter)});
    return tag;
}

inline Bytes curveTag(std::initializer_list<std::uint16_t> values) {
    Bytes tag =
        joined({bytes("curv"), Bytes(4), bigEndian32(static_cast<std::uint32_t>(values.size()))});
    for (const std::uint16_t value : values)
        tag = joined(
            {tag, {static_cast<std::uint8_t>(value >> 8), static_cast<std::uint8_t>(value)}});
    return tag;
}

inline Bytes srgbCurve() {
    return formulaTag(3, {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045});
}

using ProfileTags = std::vector<std::pair<std::string_view, Bytes>>;

inline Bytes profileOf(const ProfileTags& tags, std::string_view channels,
                       std::string_view connection = "XYZ ", std::string_view kind = "mntr") {
    Bytes table = bigEndian32(static_cast<std::uint32_t>(tags.size()));
    Bytes data;
    for (const auto& [name, tag] : tags) {
        const std::size_t offset = 132 + 12 * tags.size() + data.size();
        table = joined({table, bytes(name), bigEndian32(static_cast<std::uint32_t>(offset)),
                        bigEndian32(static_cast<std::uint32_t>(tag.size()))});
        data = joined({data, tag});
    }
    const Bytes head = joined({Bytes(8), bytes(kind), bytes(channels), bytes(connection), Bytes(12),
                               bytes("acsp"), Bytes(88)});
    const auto size = static_cast<std::uint32_t>(4 + head.size() + table.size() + data.size());
    return joined({bigEndian32(size), head, table, data});
}

inline ProfileTags srgbTags(const Bytes& curve = srgbCurve()) {
    return {{"rXYZ", xyzTag(0.43607, 0.22249, 0.01392)},
            {"gXYZ", xyzTag(0.38515, 0.71687, 0.09708)},
            {"bXYZ", xyzTag(0.14307, 0.06061, 0.71410)},
            {"rTRC", curve},
            {"gTRC", curve},
            {"bTRC", curve}};
}

inline ProfileTags withPrimaries(ProfileTags tags, const Bytes& red, const Bytes& green,
                                 const Bytes& blue) {
    tags[0].second = red;
    tags[1].second = green;
    tags[2].second = blue;
    return tags;
}

inline Bytes displayP3Profile() {
    return profileOf(withPrimaries(srgbTags(), xyzTag(0.51512, 0.24120, -0.00105),
                                   xyzTag(0.29198, 0.69225, 0.04189),
                                   xyzTag(0.15710, 0.06657, 0.78407)),
                     "RGB ");
}
inline Bytes adobeRgbProfile() {
    return profileOf(withPrimaries(srgbTags(curveTag({0x0233})), xyzTag(0.60974, 0.31111, 0.01947),
                                   xyzTag(0.20528, 0.62567, 0.06087),
                                   xyzTag(0.14919, 0.06322, 0.74457)),
                     "RGB ");
}

inline Bytes rgbProfile(const Bytes& curve) { return profileOf(srgbTags(curve), "RGB "); }
inline Bytes greyProfile(const Bytes& curve) { return profileOf({{"kTRC", curve}}, "GRAY"); }

} // namespace sorvane::test
