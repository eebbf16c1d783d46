#include "decoder/pixel_hasher.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "decoder/digest_prefix.h"
#include "decoder/premultiply.h"

namespace sorvane::decoder {

namespace {

constexpr std::size_t pixelBytes = 4;

bool keepsRowOrder(Orientation orientation) {
    return orientation == Orientation::upright || orientation == Orientation::mirror;
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
    : colour_(std::move(colour)),
      stored_(header.size),
      rowsInOrder_(header.rowsInOrder),
      orientation_(header.orientation) {
    begin();
}

void PixelHasher::restart(Orientation orientation) {
    orientation_ = orientation;
    begin();
}

void PixelHasher::begin() {
    const Size upright = uprightSize(orientation_, stored_);
    digest_.emplace().update(digestPrefix(upright));
    if (frame_ || (rowsInOrder_ && keepsRowOrder(orientation_))) return;
    frameBytes_ = pixelBytes * upright.width * upright.height;
    frame_ = std::make_unique_for_overwrite<std::uint8_t[]>(frameBytes_);
}

void PixelHasher::take(const PixelRun& run) {
    if (frame_)
        store(run);
    else
        stream(run);
}

std::string PixelHasher::hex() {
    if (frame_) digest_->update(text(frame_.get(), frameBytes_));
    return digest_->hex();
}

// At most a block of pixels, converted and premultiplied, in the order of the samples: `block_`, or
// the samples themselves where nothing is to be done.
const std::uint8_t* PixelHasher::finished(const std::uint8_t* samples, std::size_t count) {
    if (colour_.keepsSamples() && isOpaque(samples, count)) return samples;
    colour_.convert(samples, count, block_.data());
    if (!colour_.opaque() && !isOpaque(block_.data(), count)) premultiply(block_.data(), count);
    return block_.data();
}

void PixelHasher::stream(const PixelRun& run) {
    const bool mirrored = orientation_ == Orientation::mirror;
    for (std::size_t done = 0; done < run.count;) {
        const std::size_t count = std::min(blockPixels, run.count - done);
        const std::size_t first = mirrored ? run.count - done - count : done;
        const std::uint8_t* pixels = finished(run.samples + first * colour_.pixelBytes(), count);
        if (mirrored) {
            std::memmove(block_.data(), pixels, pixelBytes * count);
            reversePixels(block_.data(), count);
            pixels = block_.data();
        }
        digest_->update(text(pixels, pixelBytes * count));
        done += count;
    }
}

void PixelHasher::store(const PixelRun& run) {
    const std::size_t frameWidth = uprightSize(orientation_, stored_).width;
    const auto index = [&](std::size_t pixel) {
        const auto column = static_cast<std::uint32_t>(run.firstColumn + pixel * run.columnStep);
        const Position upright = uprightPosition(orientation_, stored_, {column, run.row});
        return static_cast<std::ptrdiff_t>(upright.y * frameWidth + upright.x);
    };
    // A stored row is a straight line in the frame: its first two pixels give the step.
    const std::ptrdiff_t start = index(0);
    const std::ptrdiff_t step = run.count > 1 ? index(1) - start : 0;
    for (std::size_t done = 0; done < run.count;) {
        const std::size_t count = std::min(blockPixels, run.count - done);
        const std::uint8_t* pixels = finished(run.samples + done * colour_.pixelBytes(), count);
        for (std::size_t i = 0; i < count; ++i) {
            const auto to = start + static_cast<std::ptrdiff_t>(done + i) * step;
            std::memcpy(frame_.get() + static_cast<std::ptrdiff_t>(pixelBytes) * to,
                        pixels + pixelBytes * i, pixelBytes);
        }
        done += count;
    }
}

} // namespace sorvane::decoder
