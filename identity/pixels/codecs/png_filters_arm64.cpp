// The filters in NEON, which every processor of this kind has. Three of them go from pixel to
// pixel, since each needs the one before: what is done at once is a pixel's bytes.

#include <arm_neon.h>
#include <cstring>

#include "identity/pixels/codecs/png_filters.h"

namespace sorvane::pixels {

namespace {

template<std::size_t bytes>
std::uint32_t number(const std::uint8_t* from) {
    std::uint32_t value = 0;
    std::memcpy(&value, from, bytes);
    return value;
}

// Three bytes are moved as two and one: in one piece they would go by way of the stack, and wait
// there.
template<std::size_t bytes>
uint8x8_t load(const std::uint8_t* from) {
    if constexpr (bytes == 3) return vcreate_u8(number<2>(from) | std::uint32_t{from[2]} << 16);
    return vcreate_u8(number<bytes>(from));
}

template<std::size_t bytes>
void store(std::uint8_t* to, uint8x8_t pixel) {
    const std::uint32_t value = vget_lane_u32(vreinterpret_u32_u8(pixel), 0);
    std::memcpy(to, &value, bytes == 3 ? 2 : bytes);
    if (bytes == 3) to[2] = static_cast<std::uint8_t>(value >> 16);
}

template<std::size_t bytes>
void restoreSub(std::span<std::uint8_t> row) {
    uint8x8_t left = vdup_n_u8(0);
    for (std::size_t i = 0; i < row.size(); i += bytes) {
        left = vadd_u8(left, load<bytes>(&row[i]));
        store<bytes>(&row[i], left);
    }
}

void restoreUp(std::span<std::uint8_t> row, const std::uint8_t* above) {
    std::size_t i = 0;
    for (; i + sizeof(uint8x16_t) <= row.size(); i += sizeof(uint8x16_t))
        vst1q_u8(&row[i], vaddq_u8(vld1q_u8(&row[i]), vld1q_u8(above + i)));
    for (; i < row.size(); ++i) row[i] = static_cast<std::uint8_t>(row[i] + above[i]);
}

template<std::size_t bytes>
void restoreAverage(std::span<std::uint8_t> row, const std::uint8_t* above) {
    uint8x8_t left = vdup_n_u8(0);
    for (std::size_t i = 0; i < row.size(); i += bytes) {
        left = vadd_u8(load<bytes>(&row[i]), vhadd_u8(left, load<bytes>(above + i)));
        store<bytes>(&row[i], left);
    }
}

// The same choice as by the three distances, put so that as little as can be waits for the pixel on
// the left: with t = 3 * aboveLeft - left - above, the larger of left and above is the nearest
// where t is at most the smaller one, the smaller where t is at least the larger, and aboveLeft
// between.
template<std::size_t bytes>
void restorePaeth(std::span<std::uint8_t> row, const std::uint8_t* above) {
    uint8x8_t left = vdup_n_u8(0);
    uint8x8_t aboveLeft = vdup_n_u8(0);
    for (std::size_t i = 0; i < row.size(); i += bytes) {
        const uint8x8_t up = load<bytes>(above + i);
        const uint16x8_t thrice = vaddw_u8(vshll_n_u8(aboveLeft, 1), aboveLeft);
        const int16x8_t t = vreinterpretq_s16_u16(vsubw_u8(vsubw_u8(thrice, up), left));
        const int16x8_t smaller = vreinterpretq_s16_u16(vmovl_u8(vmin_u8(left, up)));
        const int16x8_t larger = vreinterpretq_s16_u16(vmovl_u8(vmax_u8(left, up)));
        const uint8x8_t takeLarger = vmovn_u16(vcleq_s16(t, smaller));
        const uint8x8_t takeSmaller = vmovn_u16(vcgeq_s16(t, larger));
        const uint8x8_t orAboveLeft = vbsl_u8(takeSmaller, vmin_u8(left, up), aboveLeft);
        const uint8x8_t nearest = vbsl_u8(takeLarger, vmax_u8(left, up), orAboveLeft);
        left = vadd_u8(load<bytes>(&row[i]), nearest);
        aboveLeft = up;
        store<bytes>(&row[i], left);
    }
}

template<std::size_t bytes>
bool unfilter(std::uint8_t filter, std::span<std::uint8_t> row, const std::uint8_t* above) {
    switch (filter) {
    case png_filter::none:
        return true;
    case png_filter::sub:
        restoreSub<bytes>(row);
        return true;
    case png_filter::up:
        restoreUp(row, above);
        return true;
    case png_filter::average:
        restoreAverage<bytes>(row, above);
        return true;
    case png_filter::paeth:
        restorePaeth<bytes>(row, above);
        return true;
    default:
        return false;
    }
}

} // namespace

bool unfilterRow(std::uint8_t filter, std::span<std::uint8_t> row, const std::uint8_t* above,
                 std::size_t pixelBytes) {
    switch (pixelBytes) {
    case 1:
        return unfilter<1>(filter, row, above);
    case 2:
        return unfilter<2>(filter, row, above);
    case 3:
        return unfilter<3>(filter, row, above);
    default:
        return unfilter<4>(filter, row, above);
    }
}

} // namespace sorvane::pixels
