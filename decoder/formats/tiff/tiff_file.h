#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "decoder/input/buffered_file.h"
#include "decoder/input/byte_source.h"
#include "decoder/input/number_reader.h"
#include "decoder/picture/colour_statement.h"
#include "identity/pixel_budget.h"

namespace sorvane::decoder {

/// How far into a TIFF its first picture may reach: the whole budget in four channels of 16 bits,
/// and half as much again, by which LZW enlarges what it cannot compress. Smaller pictures leave
/// room for what writers put before them: previews, tables, metadata.
inline constexpr std::size_t maxTiffFileBytes = std::size_t{8} * pixelBudget * 3 / 2;

/// A TIFF, classic or big, of either byte order, as libtiff gets to see it: only its first
/// directory, and of that only the entries that concern pixels. So no chain or tree of directories
/// is ever followed, and whatever else a file carries, layers or metadata of gigabytes, is neither
/// read nor kept.
class TiffFile {
  public:
    /// `file` must outlive this.
    explicit TiffFile(ByteSource& file) : file_(file, maxTiffFileBytes) {}

    /// Reads the first directory. False: there is none, or it is not that of the file's picture.
    /// The raw files of cameras begin with a preview.
    bool readDirectory();

    /// The file's bytes from `offset` on, as many as are there.
    std::size_t read(std::uint64_t offset, std::span<std::uint8_t> to) noexcept;

    /// The embedded profile; nothing when there is none, or one over the limit or cut short.
    std::optional<IccProfile> profile();

    /// Whether the directory tells the kind of the samples beyond the colours.
    bool namesExtraSamples() const { return namesExtraSamples_; }

  private:
    struct Form;
    struct Entry;

    bool readEntries(const Form& form, std::uint64_t directory);
    void keep(const Entry& entry, std::span<const std::uint8_t> bytes);

    BufferedFile file_;
    /// Where the file's directory lies, and what is shown there instead.
    std::uint64_t directory_ = 0;
    std::vector<std::uint8_t> shown_;
    std::vector<std::uint16_t> tags_;
    std::uint64_t profileOffset_ = 0;
    std::uint64_t profileLength_ = 0;
    bool namesExtraSamples_ = false;
};

} // namespace sorvane::decoder
