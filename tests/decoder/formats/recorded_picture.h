#pragma once

#include <memory>
#include <optional>

#include "decoder/picture/picture.h"
#include "tests/decoder/input_file.h"

namespace sorvane::test {

/// What a decoder made of a file: its header, with the orientation that counts in the end, and the
/// pixels' samples where the runs put them.
struct RecordedPicture : decoder::PixelSink {
    std::optional<decoder::PictureHeader> header;
    Bytes samples;
    bool whole = false;
    std::size_t runs = 0;

    RecordedPicture(std::unique_ptr<decoder::Decoder> (*open)(decoder::ByteSource&),
                    const Bytes& content) {
        InputFile file(content);
        read(*open(file.source()));
    }

    RecordedPicture(std::unique_ptr<decoder::Decoder> (*open)(decoder::ByteSource&),
                    int descriptor) {
        decoder::ByteSource file(descriptor);
        read(*open(file));
    }

    void take(const decoder::PixelRun& run) override {
        ++runs;
        const std::size_t step = header->samples.pixelBytes();
        for (std::size_t i = 0; i < std::size_t{run.count} * run.rows; ++i) {
            const std::size_t x = run.firstColumn + i % run.count * run.columnStep;
            const std::size_t y = run.row + i / run.count * run.rowStep;
            const std::size_t index = (y * header->size.width + x) * step;
            for (std::size_t byte = 0; byte < step; ++byte)
                samples.at(index + byte) = run.samples[i * step + byte];
        }
    }

  private:
    void read(decoder::Decoder& decoder) {
        header = decoder.readHeader();
        if (!header) return;
        samples.resize(header->samples.pixelBytes() * header->size.width * header->size.height);
        whole = decoder.readPixels(*this);
        header->orientation = decoder.lateOrientation().value_or(header->orientation);
    }
};

} // namespace sorvane::test
