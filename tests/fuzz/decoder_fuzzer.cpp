// One format's decoder under libFuzzer: from any bytes to the digest, as long as the picture is
// small.

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "decoder/colour/colour_step.h"
#include "decoder/formats/decoder_table.h"
#include "decoder/pixel_hasher.h"
#include "tests/decoder/memory_file.h"

using namespace sorvane;
using namespace sorvane::decoder;

namespace {

// More pixels take time and reach no more code.
constexpr std::uint64_t maxPixels = 65'536;

constexpr ImageFormat format =
    std::ranges::find(imageFormats, SORVANE_FUZZED_FORMAT, &ImageFormatRow::name)->format;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const test::MemoryFile memory;
    ByteSource file(memory.holding({data, size}));
    const auto decoder = openDecoder(format, file);
    const auto header = decoder->readHeader();
    if (!header || !withinBudget(header->size)) return 0;
    if (std::uint64_t{header->size.width} * header->size.height > maxPixels) return 0;
    PixelHasher hasher(*header, ColourStep(header->colour, header->samples));
    if (decoder->readPixels(hasher)) hasher.hex();
    return 0;
}
