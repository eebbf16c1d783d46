#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include <libheif/heif.h>

#include "decoder/formats/heif/heif_grid.h"
#include "decoder/input/buffered_file.h"

namespace sorvane::decoder {

/// A file of boxes as libheif reads it, kept as far as it is read. libheif looks at every outermost
/// box to the end of the file before it looks at a picture; here it finds that end behind the box
/// that describes the pictures, so that whatever follows them is not even read. Nothing here throws
/// but for want of memory.
class HeifInput {
  public:
    /// As BufferedFile.
    HeifInput(ByteSource& file, std::size_t limit) : kept_(file, limit) {}
    HeifInput(const HeifInput&) = delete;
    HeifInput& operator=(const HeifInput&) = delete;

    /// Reads the boxes into `context`, which reads the pictures through this from then on. False:
    /// there are none, or they are damaged.
    bool readBoxes(heif_context* context);
    /// What derivedSizes says of the boxes that have been read.
    std::optional<CodedSizes> codedSizes();

  private:
    static HeifInput& self(void* data) { return *static_cast<HeifInput*>(data); }
    static std::int64_t position(void* data) { return self(data).position_; }
    static constexpr heif_reader calls();
    static int read(void* to, std::size_t count, void* data);
    static int seek(std::int64_t position, void* data);
    static heif_reader_grow_status waitForSize(std::int64_t size, void* data);
    static std::uint64_t available(std::uint64_t begin, std::uint64_t end, void* data);

    struct Range {
        std::uint64_t begin;
        std::uint64_t end;
    };
    std::optional<Range> findDescription();

    BufferedFile kept_;
    std::optional<Range> description_;
    std::int64_t position_ = 0;
    // Where the file seems to end, until that has been noticed.
    std::optional<std::int64_t> end_;
};

} // namespace sorvane::decoder
