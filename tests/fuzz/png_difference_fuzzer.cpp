// Both readers of PNG under libFuzzer: from the same bytes they have to read the same header and
// the same pixels, or both have to reject the file. One difference is meant: compressed data that
// are not whole after the last pixel are not always noticed by libpng. There zlib decides.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

#include <zlib.h>

#include "decoder/formats/png/png.h"
#include "tests/decoder/formats/png/libpng_reader.h"
#include "tests/decoder/memory_file.h"

using namespace sorvane::decoder;

namespace {

using Bytes = std::vector<std::uint8_t>;

// More pixels take time and reach no more code.
constexpr std::uint64_t maxPixels = 65'536;

class Samples : public PixelSink {
  public:
    explicit Samples(const PictureHeader& header)
        : width_(header.size.width),
          pixelBytes_(header.samples.pixelBytes()),
          bytes_(pixelBytes_ * width_ * header.size.height) {}

    void take(const PixelRun& run) override {
        for (std::size_t i = 0; i < std::size_t{run.count} * run.rows; ++i) {
            const std::size_t pixel = (run.row + i / run.count * run.rowStep) * width_ +
                                      run.firstColumn + i % run.count * run.columnStep;
            std::memcpy(&bytes_[pixel * pixelBytes_], run.samples + i * pixelBytes_, pixelBytes_);
        }
    }

    const Bytes& bytes() const { return bytes_; }

  private:
    std::size_t width_;
    std::size_t pixelBytes_;
    Bytes bytes_;
};

struct Answer {
    bool small = false;
    std::optional<PictureHeader> header;
    std::optional<Bytes> samples;
    std::optional<Orientation> orientation;
};

Answer answerOf(std::unique_ptr<Decoder> (*open)(ByteSource&), const std::uint8_t* data,
                std::size_t size) {
    static const sorvane::test::MemoryFile memory;
    ByteSource file(memory.holding({data, size}));
    const auto decoder = open(file);
    Answer answer;
    answer.header = decoder->readHeader();
    if (!answer.header || !withinBudget(answer.header->size)) return answer;
    const Size declared = answer.header->size;
    answer.small = std::uint64_t{declared.width} * declared.height <= maxPixels;
    if (!answer.small) return answer;
    Samples samples(*answer.header);
    if (!decoder->readPixels(samples)) return answer;
    answer.samples = samples.bytes();
    answer.orientation = decoder->lateOrientation().value_or(answer.header->orientation);
    return answer;
}

bool sameHeader(const PictureHeader& one, const PictureHeader& other) {
    return one.size == other.size && one.orientation == other.orientation &&
           one.samples.channels == other.samples.channels &&
           one.samples.sixteenBits == other.samples.sixteenBits &&
           one.rowsInOrder == other.rowsInOrder && one.colour.size() == other.colour.size();
}

std::uint32_t numberAt(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
           std::uint32_t{bytes[2]} << 8 | bytes[3];
}

// The data of the first pixel chunk and of those that follow it at once. Of a file that has been
// read as a picture: its chunks are chunks.
Bytes pixelData(const std::uint8_t* file, std::size_t size) {
    Bytes data;
    bool begun = false;
    for (std::size_t at = 8; size - at >= 12;) {
        const std::size_t length = numberAt(file + at);
        const bool pixels = std::memcmp(file + at + 4, "IDAT", 4) == 0;
        if (length > size - at - 12 || (begun && !pixels)) break;
        begun = pixels;
        if (pixels) data.insert(data.end(), file + at + 8, file + at + 8 + length);
        at += 12 + length;
    }
    return data;
}

bool isWholeStream(Bytes data) {
    z_stream stream{};
    stream.next_in = data.data();
    stream.avail_in = static_cast<uInt>(data.size());
    if (inflateInit(&stream) != Z_OK) std::abort();
    int status = Z_OK;
    while (status == Z_OK) {
        Bytes out(65536);
        stream.next_out = out.data();
        stream.avail_out = static_cast<uInt>(out.size());
        status = inflate(&stream, Z_NO_FLUSH);
    }
    inflateEnd(&stream);
    return status == Z_STREAM_END;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Answer theirs = answerOf(sorvane::test::openPngByLibpng, data, size);
    const Answer ours = answerOf(openPng, data, size);
    if (theirs.header.has_value() != ours.header.has_value()) std::abort();
    if (!theirs.header) return 0;
    if (!sameHeader(*theirs.header, *ours.header)) std::abort();
    if (theirs.samples && !ours.samples && !isWholeStream(pixelData(data, size))) return 0;
    if (theirs.samples != ours.samples || theirs.orientation != ours.orientation) std::abort();
    return 0;
}
