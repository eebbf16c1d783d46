#pragma once

#include <memory>
#include <optional>

#include "decoder/picture/picture.h"
#include "tests/decoder/input_file.h"

namespace sorvane::test {

/// What a decoder made of a file: its header, and the pixels' samples where the spans put them.
struct RecordedPicture : decoder::PixelSink {
    std::optional<decoder::PictureHeader> header;
    Bytes samples;
    bool whole = false;

    RecordedPicture(std::unique_ptr<decoder::Decoder> (*open)(decoder::ByteSource&),
                    const Bytes& content) {
        InputFile file(content);
        const auto decoder = open(file.source());
        header = decoder->readHeader();
        if (!header) return;
        samples.resize(header->size.width * header->size.height * header->samples.pixelBytes());
        whole = decoder->readPixels(*this);
    }

    void take(const decoder::PixelRun& span) override {
        const std::size_t step = header->samples.pixelBytes();
        for (std::size_t i = 0; i < span.count; ++i) {
            const std::size_t x = span.firstColumn + i * span.columnStep;
            const std::size_t place = (span.row * std::size_t{header->size.width} + x) * step;
            for (std::size_t byte = 0; byte < step; ++byte)
                samples.at(place + byte) = span.samples[i * step + byte];
        }
    }
};

} // namespace sorvane::test
