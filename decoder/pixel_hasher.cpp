#include "decoder/pixel_hasher.h"

#include <algorithm>
#include <cstring>
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

} // namespace

PixelHasher::PixelHasher(const PictureHeader& header, ColourStep colour)
    : colour_(std::move(colour)),
      stored_(header.size),
      rowsInOrder_(header.rowsInOrder),
      orientation_(header.orientation) {
    begin();
}

void PixelHasher::begin() {
    const Size upright = uprightSize(orientation_, stored_);
    const std::size_t bytes = pixelBytes * upright.width * upright.height;
    const bool streams = !frame_ && rowsInOrder_ && keepsRowOrder(orientation_);
    digest_.emplace(digestPrefix(upright), streams ? bytes : 0);
    if (frame_ || streams) return;
    frameBytes_ = bytes;
    frame_ = std::make_unique_for_overwrite<std::uint8_t[]>(frameBytes_);
}

void PixelHasher::take(const PixelRun& run) {
    if (!frame_ && orientation_ == Orientation::upright)
        return stream(run.samples, std::size_t{run.count} * run.rows);
    const std::size_t rowBytes = run.count * colour_.pixelBytes();
    PixelRun row = run;
    for (std::uint32_t i = 0; i < run.rows; ++i, ++row.row, row.samples += rowBytes) {
        if (frame_)
            store(row);
        else
            streamMirrored(row);
    }
}

std::string PixelHasher::hex() {
    if (frame_) digest_->update(frame_.get(), frameBytes_);
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

void PixelHasher::stream(const std::uint8_t* samples, std::size_t pixels) {
    for (std::size_t done = 0; done < pixels;) {
        const std::size_t count = std::min(blockPixels, pixels - done);
        digest_->update(finished(samples + done * colour_.pixelBytes(), count), pixelBytes * count);
        done += count;
    }
}

void PixelHasher::streamMirrored(const PixelRun& row) {
    for (std::size_t left = row.count; left > 0;) {
        const std::size_t count = std::min(blockPixels, left);
        left -= count;
        const std::uint8_t* pixels = finished(row.samples + left * colour_.pixelBytes(), count);
        std::memmove(block_.data(), pixels, pixelBytes * count);
        reversePixels(block_.data(), count);
        digest_->update(block_.data(), pixelBytes * count);
    }
}

void PixelHasher::store(const PixelRun& row) {
    const std::size_t frameWidth = uprightSize(orientation_, stored_).width;
    const auto index = [&](std::size_t pixel) {
        const auto column = static_cast<std::uint32_t>(row.firstColumn + pixel * row.columnStep);
        const Position upright = uprightPosition(orientation_, stored_, {column, row.row});
        return static_cast<std::ptrdiff_t>(upright.y * frameWidth + upright.x);
    };
    // A stored row is a straight line in the frame: its first two pixels give the step.
    const std::ptrdiff_t start = index(0);
    const std::ptrdiff_t step = row.count > 1 ? index(1) - start : 0;
    for (std::size_t done = 0; done < row.count;) {
        const std::size_t count = std::min(blockPixels, row.count - done);
        const std::uint8_t* pixels = finished(row.samples + done * colour_.pixelBytes(), count);
        for (std::size_t i = 0; i < count; ++i) {
            const auto to = start + static_cast<std::ptrdiff_t>(done + i) * step;
            std::memcpy(frame_.get() + static_cast<std::ptrdiff_t>(pixelBytes) * to,
                        pixels + pixelBytes * i, pixelBytes);
        }
        done += count;
    }
}

} // namespace sorvane::decoder
