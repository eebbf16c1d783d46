#include "decoder/pixel_hasher.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>
#include <utility>

#include "decoder/digest_prefix.h"

namespace sorvane::decoder {

namespace {

constexpr std::size_t pixelBytes = 4;

bool keepsRowOrder(Orientation orientation) {
    return orientation == Orientation::upright || orientation == Orientation::mirror;
}

bool isOpaque(const std::uint8_t* rgba, std::size_t count) {
    std::uint32_t common = 0xffff'ffff;
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t pixel = 0;
        std::memcpy(&pixel, rgba + pixelBytes * i, sizeof pixel);
        common &= pixel;
    }
    return std::bit_cast<std::array<std::uint8_t, pixelBytes>>(common)[3] == 255;
}

void premultiply(std::uint8_t* rgba, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i, rgba += pixelBytes) {
        // Most pictures with alpha are opaque nearly everywhere.
        if (rgba[3] == 255) continue;
        for (std::size_t channel = 0; channel < 3; ++channel)
            rgba[channel] =
                static_cast<std::uint8_t>((rgba[channel] * unsigned{rgba[3]} + 127) / 255);
    }
}

void reversePixels(std::uint8_t* rgba, std::size_t count) {
    for (std::size_t left = 0, right = count; left + 1 < right; ++left, --right)
        std::swap_ranges(rgba + pixelBytes * left, rgba + pixelBytes * (left + 1),
                         rgba + pixelBytes * (right - 1));
}

std::string_view text(const std::uint8_t* bytes, std::size_t count) {
    return {reinterpret_cast<const char*>(bytes), count};
}

} // namespace

PixelHasher::PixelHasher(const PictureHeader& header, ColourStep colour)
    : colour_(std::move(colour)), stored_(header.size), orientation_(header.orientation) {
    const Size upright = uprightSize(orientation_, stored_);
    digest_.update(digestPrefix(upright));
    if (header.rowsInOrder && keepsRowOrder(orientation_)) return;
    frameBytes_ = pixelBytes * upright.width * upright.height;
    frame_ = std::make_unique_for_overwrite<std::uint8_t[]>(frameBytes_);
}

void PixelHasher::take(const PixelRun& span) {
    if (frame_)
        place(span);
    else
        stream(span);
}

std::string PixelHasher::hex() {
    if (frame_) digest_.update(text(frame_.get(), frameBytes_));
    return digest_.hex();
}

// A block's worth of pixels in their final form, but for their order: in `block_`, or where they
// stand if they have it already.
const std::uint8_t* PixelHasher::finished(const std::uint8_t* samples, std::size_t count) {
    if (colour_.keepsSamples() && isOpaque(samples, count)) return samples;
    colour_.convert(samples, count, block_.data());
    if (!colour_.opaque() && !isOpaque(block_.data(), count)) premultiply(block_.data(), count);
    return block_.data();
}

void PixelHasher::stream(const PixelRun& span) {
    const bool mirrored = orientation_ == Orientation::mirror;
    for (std::size_t done = 0; done < span.count;) {
        const std::size_t count = std::min(blockPixels, span.count - done);
        const std::size_t first = mirrored ? span.count - done - count : done;
        const std::uint8_t* pixels = finished(span.samples + first * colour_.pixelBytes(), count);
        if (mirrored) {
            std::memmove(block_.data(), pixels, pixelBytes * count);
            reversePixels(block_.data(), count);
            pixels = block_.data();
        }
        digest_.update(text(pixels, pixelBytes * count));
        done += count;
    }
}

void PixelHasher::place(const PixelRun& span) {
    const std::size_t frameWidth = uprightSize(orientation_, stored_).width;
    const auto index = [&](std::size_t pixel) {
        const auto column = static_cast<std::uint32_t>(span.firstColumn + pixel * span.columnStep);
        const Position place = uprightPosition(orientation_, stored_, {column, span.row});
        return static_cast<std::ptrdiff_t>(place.y * frameWidth + place.x);
    };
    // Along a stored row the way through the frame is straight: two places give its step.
    const std::ptrdiff_t start = index(0);
    const std::ptrdiff_t step = span.count > 1 ? index(1) - start : 0;
    for (std::size_t done = 0; done < span.count;) {
        const std::size_t count = std::min(blockPixels, span.count - done);
        const std::uint8_t* pixels = finished(span.samples + done * colour_.pixelBytes(), count);
        for (std::size_t i = 0; i < count; ++i) {
            const auto to = start + static_cast<std::ptrdiff_t>(done + i) * step;
            std::memcpy(frame_.get() + static_cast<std::ptrdiff_t>(pixelBytes) * to,
                        pixels + pixelBytes * i, pixelBytes);
        }
        done += count;
    }
}

} // namespace sorvane::decoder
