// The filters in SSE2, which every processor of this kind has. Three of them go from pixel to
// pixel, since each needs the one before: what is done at once is a pixel's bytes.

#include <cstring>
#include <emmintrin.h>

#include "identity/pixels/codecs/png_filters.h"

namespace sorvane::pixels {

namespace {

template<std::size_t bytes>
int number(const std::uint8_t* from) {
    int value = 0;
    std::memcpy(&value, from, bytes);
    return value;
}

// Three bytes are moved as two and one: in one piece they would go by way of the stack, and wait
// there.
template<std::size_t bytes>
__m128i load(const std::uint8_t* from) {
    if constexpr (bytes == 3) return _mm_cvtsi32_si128(number<2>(from) | from[2] << 16);
    return _mm_cvtsi32_si128(number<bytes>(from));
}

template<std::size_t bytes>
void store(std::uint8_t* to, __m128i pixel) {
    const int value = _mm_cvtsi128_si32(pixel);
    std::memcpy(to, &value, bytes == 3 ? 2 : bytes);
    if (bytes == 3) to[2] = static_cast<std::uint8_t>(value >> 16);
}

__m128i widened(__m128i bytes) { return _mm_unpacklo_epi8(bytes, _mm_setzero_si128()); }

template<std::size_t bytes>
void restoreSub(std::span<std::uint8_t> row) {
    __m128i left = _mm_setzero_si128();
    for (std::size_t i = 0; i < row.size(); i += bytes) {
        left = _mm_add_epi8(left, load<bytes>(&row[i]));
        store<bytes>(&row[i], left);
    }
}

void restoreUp(std::span<std::uint8_t> row, const std::uint8_t* above) {
    std::size_t i = 0;
    for (; i + sizeof(__m128i) <= row.size(); i += sizeof(__m128i)) {
        auto* place = reinterpret_cast<__m128i*>(&row[i]);
        const __m128i up = _mm_loadu_si128(reinterpret_cast<const __m128i*>(above + i));
        _mm_storeu_si128(place, _mm_add_epi8(_mm_loadu_si128(place), up));
    }
    for (; i < row.size(); ++i) row[i] = static_cast<std::uint8_t>(row[i] + above[i]);
}

template<std::size_t bytes>
void restoreAverage(std::span<std::uint8_t> row, const std::uint8_t* above) {
    const __m128i one = _mm_set1_epi8(1);
    __m128i left = _mm_setzero_si128();
    for (std::size_t i = 0; i < row.size(); i += bytes) {
        const __m128i up = load<bytes>(above + i);
        // The instruction rounds up, the filter down.
        const __m128i rounded = _mm_and_si128(_mm_xor_si128(left, up), one);
        const __m128i average = _mm_sub_epi8(_mm_avg_epu8(left, up), rounded);
        left = _mm_add_epi8(load<bytes>(&row[i]), average);
        store<bytes>(&row[i], left);
    }
}

// The same choice as by the three distances, put so that as little as can be waits for the pixel on
// the left: with t = 3 * aboveLeft - left - above, the larger of left and above is the nearest
// where t is at most the smaller one, the smaller where t is at least the larger, and aboveLeft
// between.
template<std::size_t bytes>
void restorePaeth(std::span<std::uint8_t> row, const std::uint8_t* above) {
    __m128i left = _mm_setzero_si128();
    __m128i aboveLeft = _mm_setzero_si128();
    for (std::size_t i = 0; i < row.size(); i += bytes) {
        const __m128i up = widened(load<bytes>(above + i));
        const __m128i difference = widened(load<bytes>(&row[i]));
        const __m128i twice = _mm_add_epi16(aboveLeft, aboveLeft);
        const __m128i t = _mm_sub_epi16(_mm_add_epi16(twice, _mm_sub_epi16(aboveLeft, up)), left);
        const __m128i smaller = _mm_min_epi16(left, up);
        const __m128i larger = _mm_max_epi16(left, up);
        const __m128i notLarger = _mm_cmpgt_epi16(t, smaller);
        const __m128i notSmaller = _mm_cmpgt_epi16(larger, t);
        // Adding bytes keeps the upper half of every word 0.
        const __m128i asLarger = _mm_andnot_si128(notLarger, _mm_add_epi8(difference, larger));
        const __m128i asSmaller = _mm_andnot_si128(notSmaller, _mm_add_epi8(difference, smaller));
        const __m128i asAboveLeft = _mm_and_si128(_mm_and_si128(notLarger, notSmaller),
                                                  _mm_add_epi8(difference, aboveLeft));
        left = _mm_or_si128(_mm_or_si128(asLarger, asSmaller), asAboveLeft);
        aboveLeft = up;
        store<bytes>(&row[i], _mm_packus_epi16(left, left));
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
