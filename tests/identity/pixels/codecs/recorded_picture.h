#pragma once

#include <memory>
#include <optional>

#include "identity/pixels/picture.h"
#include "tests/identity/pixels/poured_file.h"

namespace sorvane::test {

/// What a codec made of a file: its header, and the pixels' samples where the spans put them.
struct RecordedPicture : pixels::SpanSink {
    std::optional<pixels::PictureHeader> header;
    Bytes samples;
    bool whole = false;

    RecordedPicture(std::unique_ptr<pixels::Codec> (*open)(pixels::ByteSource&),
                    const Bytes& content) {
        PouredFile file(content);
        const auto codec = open(file.source());
        header = codec->readHeader();
        if (!header) return;
        samples.resize(header->size.width * header->size.height * header->samples.pixelBytes());
        whole = codec->readPixels(*this);
    }

    void take(const pixels::Span& span) override {
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
