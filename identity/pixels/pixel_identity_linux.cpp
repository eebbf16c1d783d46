// The picture's way from the file to its digest, by the codecs that the program carries with it.

#include "identity/pixels/budget.h"
#include "identity/pixels/codec_choice.h"
#include "identity/pixels/colour.h"
#include "identity/pixels/pixel_hasher.h"
#include "identity/pixels/pixel_identity.h"

namespace sorvane::pixels {

std::optional<PixelIdentity> pixelIdentity(ByteSource& file) {
    const auto row = imageFormat(file.peek(signatures::length));
    const auto codec = row ? openCodec(row->format, file) : nullptr;
    const auto header = codec ? codec->readHeader() : std::nullopt;
    if (!header || !withinPixelBudget(header->size)) return std::nullopt;
    const Size declared = header->declared.value_or(header->size);
    if (!withinPixelBudget(declared)) return std::nullopt;
    PixelHasher hasher(*header, ColourStep(header->colour, header->samples));
    if (!codec->readPixels(hasher)) return std::nullopt;
    file.drain();
    return PixelIdentity{hasher.hex(), declared};
}

} // namespace sorvane::pixels
