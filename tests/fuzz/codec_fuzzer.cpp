// One format's codec under libFuzzer: a whole picture's way, from any bytes to the digest, as long
// as the picture is small.

#include <cstddef>
#include <cstdint>

#include "identity/pixels/budget.h"
#include "identity/pixels/codec_choice.h"
#include "identity/pixels/colour.h"
#include "identity/pixels/pixel_hasher.h"
#include "tests/identity/pixels/memory_file.h"

using namespace sorvane;
using namespace sorvane::pixels;

namespace {

// More pixels bring time and no new way through the code.
constexpr std::uint64_t pixelLimit = 256 * 256;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const test::MemoryFile memory;
    ByteSource file(memory.holding({data, size}));
    const auto codec = openCodec(ImageFormat::SORVANE_FUZZED_FORMAT, file);
    const auto header = codec->readHeader();
    if (!header || !withinPixelBudget(header->size)) return 0;
    if (std::uint64_t{header->size.width} * header->size.height > pixelLimit) return 0;
    PixelHasher hasher(*header, ColourStep(header->colour, header->samples));
    if (codec->readPixels(hasher)) hasher.hex();
    return 0;
}
