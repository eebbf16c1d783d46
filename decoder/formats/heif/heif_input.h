#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include <libheif/heif.h>

#include "decoder/formats/heif/heif_grid.h"
#include "decoder/input/buffered_file.h"

namespace sorvane::decoder {

/// A HEIF file as libheif reads it, kept as far as it is read. libheif goes through all outermost
/// boxes up to the end of the file before it reads a picture. Here the file seems to end after its
/// `meta` box, so that what follows the last picture is never read. Throws for want of memory only.
class HeifInput {
  public:
    /// As BufferedFile.
    HeifInput(ByteSource& file, std::size_t limit) : file_(file, limit) {}
    HeifInput(const HeifInput&) = delete;
    HeifInput& operator=(const HeifInput&) = delete;

    /// Reads the boxes into `context`, which from then on reads the pictures through this. False:
    /// they are missing or damaged.
    bool readBoxes(heif_context* context);
    /// derivedSizes of the boxes that have been read.
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
    std::optional<Range> findMeta();
    void showLength(std::uint64_t offset, std::span<std::uint8_t> bytes) const;

    BufferedFile file_;
    std::optional<Range> meta_;
    // Where the `meta` box begins, if it has no length of its own.
    std::optional<std::uint64_t> openMeta_;
    std::int64_t position_ = 0;
    // Where the file seems to end; nothing once libheif has come there.
    std::optional<std::int64_t> end_;
};

} // namespace sorvane::decoder
