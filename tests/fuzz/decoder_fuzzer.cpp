// One format's decoder under libFuzzer: from any bytes to the digest, as long as the picture is
// small.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "decoder/colour/colour_step.h"
#include "decoder/formats/decoder_table.h"
#include "decoder/pixel_digest.h"
#include "decoder/threaded_sha256.h"
#include "tests/decoder/memory_file.h"

using namespace sorvane;
using namespace sorvane::decoder;

namespace {

// Some more than the digest's second thread begins with. Many more pixels take time and reach no
// more code.
constexpr std::uint64_t maxPixels = ThreadedSha256::minThreadedBytes * 5 / 16;

ImageFormat formatNamed(std::string_view name) {
    for (const ImageFormatRow& row : imageFormats)
        if (row.name == name) return row.format;
    std::abort();
}

} // namespace

/// The name of the format in the table.
extern const char* const fuzzedFormat;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const test::MemoryFile memory;
    static const ImageFormat format = formatNamed(fuzzedFormat);
    ByteSource file(memory.holding({data, size}));
    const auto decoder = openDecoder(format, file);
    const auto header = decoder->readHeader();
    if (!header || !withinBudget(header->size)) return 0;
    if (std::uint64_t{header->size.width} * header->size.height > maxPixels) return 0;
    PixelDigest digest(*header, ColourStep(header->colour, header->samples));
    if (decoder->readPixels(digest)) digest.hex();
    return 0;
}
