// One format's codec under libFuzzer: a whole picture's way, from any bytes to the digest, as long
// as the picture is small.

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include <sys/mman.h>
#include <unistd.h>

#include "identity/pixels/budget.h"
#include "identity/pixels/codec_choice.h"
#include "identity/pixels/colour.h"
#include "identity/pixels/pixel_hasher.h"

using namespace sorvane;
using namespace sorvane::pixels;

namespace {

// More pixels bring time and no new way through the code.
constexpr std::uint64_t pixelLimit = 256 * 256;

int fileOf(const std::uint8_t* data, std::size_t size) {
    static const int file = ::memfd_create("picture", MFD_CLOEXEC);
    const bool filled = ::ftruncate(file, 0) == 0 && ::lseek(file, 0, SEEK_SET) == 0 &&
                        ::write(file, data, size) == static_cast<ssize_t>(size) &&
                        ::lseek(file, 0, SEEK_SET) == 0;
    if (!filled) std::abort();
    return file;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    ByteSource file(fileOf(data, size));
    const auto codec = openCodec(ImageFormat::SORVANE_FUZZED_FORMAT, file);
    const auto header = codec->readHeader();
    if (!header || !withinPixelBudget(header->size)) return 0;
    if (std::uint64_t{header->size.width} * header->size.height > pixelLimit) return 0;
    PixelHasher hasher(*header, ColourStep(header->colour, header->samples));
    if (codec->readPixels(hasher)) hasher.hex();
    return 0;
}
