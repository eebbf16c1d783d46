// The picture's way from the file to its digest, by the codecs that the program carries with it.

#include <algorithm>
#include <memory>

#include "identity/image_formats.h"
#include "identity/pixels/budget.h"
#include "identity/pixels/codecs/jpeg.h"
#include "identity/pixels/codecs/png.h"
#include "identity/pixels/colour.h"
#include "identity/pixels/picture.h"
#include "identity/pixels/pixel_hasher.h"
#include "identity/pixels/pixel_identity.h"

namespace sorvane::pixels {

namespace {

constexpr std::size_t longestSignature() {
    std::size_t longest = 0;
    for (const ImageFormatRow& row : imageFormats)
        longest = std::max(longest, row.signature.size());
    return longest;
}

std::unique_ptr<Codec> openCodec(ByteSource& file) {
    const auto row = imageFormat(file.peek(longestSignature()));
    if (!row) return nullptr;
    switch (row->format) {
    case ImageFormat::png:
        return openPng(file);
    case ImageFormat::jpeg:
        return openJpeg(file);
    }
    return nullptr;
}

} // namespace

std::optional<PixelIdentity> pixelIdentity(ByteSource& file) {
    const auto codec = openCodec(file);
    const auto header = codec ? codec->readHeader() : std::nullopt;
    if (!header || !withinPixelBudget(header->size)) return std::nullopt;
    const auto colour = ColourStep::make(header->colour, header->samples);
    if (!colour) return std::nullopt;
    PixelHasher hasher(*header, *colour);
    if (!codec->readPixels(hasher)) return std::nullopt;
    file.drain();
    return PixelIdentity{hasher.hex(), header->size};
}

} // namespace sorvane::pixels
