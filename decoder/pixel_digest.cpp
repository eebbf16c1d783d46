#include "decoder/pixel_digest.h"

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

/// The straight lines of a frame on which a run's pixels lie, in the order of its samples.
struct Lines {
    std::ptrdiff_t start;
    /// Of each line.
    std::size_t length;
    std::ptrdiff_t toNextPixel;
    std::ptrdiff_t toNextLine;
};

// Stored rows and columns are straight lines: their first two pixels give the step. Rows of one
// pixel are one line.
Lines linesOf(const PixelRun& run, Orientation orientation, Size stored) {
    const std::size_t frameWidth = uprightSize(orientation, stored).width;
    const auto index = [&](std::uint32_t column, std::uint32_t row) {
        const Position upright = uprightPosition(orientation, stored, {column, row});
        return static_cast<std::ptrdiff_t>(upright.y * frameWidth + upright.x);
    };
    const std::ptrdiff_t start = index(run.firstColumn, run.row);
    const std::ptrdiff_t toNextRow =
        run.rows > 1 ? index(run.firstColumn, run.row + run.rowStep) - start : 0;
    if (run.count == 1) return {start, run.rows, toNextRow, 0};
    return {start, run.count, index(run.firstColumn + run.columnStep, run.row) - start, toNextRow};
}

} // namespace

PixelDigest::PixelDigest(const PictureHeader& header, ColourStep colour)
    : colour_(std::move(colour)), stored_(header.size), orientation_(header.orientation) {
    const Size upright = uprightSize(orientation_, stored_);
    const std::size_t bytes = pixelBytes * upright.width * upright.height;
    const bool streams = header.rowsInOrder && keepsRowOrder(orientation_);
    digest_.emplace(digestPrefix(upright), streams ? bytes : 0);
    if (streams) return;
    frameBytes_ = bytes;
    frame_ = std::make_unique_for_overwrite<std::uint8_t[]>(frameBytes_);
}

void PixelDigest::take(const PixelRun& run) {
    if (frame_)
        store(run);
    else if (orientation_ == Orientation::upright)
        stream(run.samples, std::size_t{run.count} * run.rows);
    else
        streamMirrored(run);
}

std::string PixelDigest::hex() {
    if (frame_) digest_->update(frame_.get(), frameBytes_);
    return digest_->hex();
}

// At most a block of pixels, converted and premultiplied, in the order of the samples: `block_`, or
// the samples themselves where nothing is to be done.
const std::uint8_t* PixelDigest::finished(const std::uint8_t* samples, std::size_t count) {
    if (colour_.keepsSamples() && isOpaque(samples, count)) return samples;
    colour_.convert(samples, count, block_.data());
    if (!colour_.opaque() && !isOpaque(block_.data(), count)) premultiply(block_.data(), count);
    return block_.data();
}

void PixelDigest::stream(const std::uint8_t* samples, std::size_t pixels) {
    for (std::size_t done = 0; done < pixels;) {
        const std::size_t count = std::min(blockPixels, pixels - done);
        digest_->update(finished(samples + done * colour_.pixelBytes(), count), pixelBytes * count);
        done += count;
    }
}

// Of rows that fit in a block as many as do, of longer ones a piece after the other.
void PixelDigest::streamMirrored(const PixelRun& run) {
    const std::size_t length = std::min(std::size_t{run.count}, blockPixels);
    const std::size_t blockRows = blockPixels / length;
    for (std::size_t row = 0; row < run.rows; row += blockRows) {
        const std::size_t rows = std::min(blockRows, run.rows - row);
        for (std::size_t left = run.count; left > 0;) {
            const std::size_t count = std::min(length, left);
            left -= count;
            const std::size_t first = row * run.count + left;
            const std::uint8_t* pixels =
                finished(run.samples + first * colour_.pixelBytes(), rows * count);
            std::memmove(block_.data(), pixels, pixelBytes * rows * count);
            for (std::size_t i = 0; i < rows; ++i)
                reversePixels(block_.data() + pixelBytes * i * count, count);
            digest_->update(block_.data(), pixelBytes * rows * count);
        }
    }
}

void PixelDigest::store(const PixelRun& run) {
    const Lines lines = linesOf(run, orientation_, stored_);
    const std::size_t total = std::size_t{run.count} * run.rows;
    std::ptrdiff_t lineStart = lines.start;
    std::size_t column = 0;
    for (std::size_t done = 0; done < total;) {
        const std::size_t count = std::min(blockPixels, total - done);
        const std::uint8_t* pixels = finished(run.samples + done * colour_.pixelBytes(), count);
        for (const std::uint8_t* const end = pixels + pixelBytes * count; pixels < end;) {
            const std::uint8_t* const lineEnd =
                std::min(end, pixels + pixelBytes * (lines.length - column));
            std::ptrdiff_t to = lineStart + static_cast<std::ptrdiff_t>(column) * lines.toNextPixel;
            for (; pixels < lineEnd; pixels += pixelBytes, to += lines.toNextPixel, ++column)
                std::memcpy(frame_.get() + static_cast<std::ptrdiff_t>(pixelBytes) * to, pixels,
                            pixelBytes);
            if (column < lines.length) continue;
            column = 0;
            lineStart += lines.toNextLine;
        }
        done += count;
    }
}

} // namespace sorvane::decoder
