// The picture's way from the file to its digest, by the decoders that the program carries with it.

#include "decoder/pixel_identity.h"

#include "decoder/colour/colour_engine.h"
#include "decoder/colour/colour_step.h"
#include "decoder/formats/decoder_table.h"
#include "decoder/pixel_hasher.h"

namespace sorvane::decoder {

void prepareLibraries() { prepareDecoders(); }

std::uint64_t maxPixelIdentityMemory() { return maxFrameBytes + decoderMemory() + engineMemory; }

std::optional<PixelIdentity> pixelIdentity(ByteSource& file) {
    const auto row = imageFormat(file.peek(signatures::length));
    const auto decoder = row ? openDecoder(row->format, file) : nullptr;
    const auto header = decoder ? decoder->readHeader() : std::nullopt;
    if (!header || !withinBudget(header->size)) return std::nullopt;
    const Size declared = header->declared.value_or(header->size);
    if (!withinBudget(declared)) return std::nullopt;
    PixelHasher hasher(*header, ColourStep(header->colour, header->samples));
    if (!decoder->readPixels(hasher)) return std::nullopt;
    file.drain();
    return PixelIdentity{hasher.hex(), declared.width, declared.height};
}

} // namespace sorvane::decoder
