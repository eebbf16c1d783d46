#include "decoder/formats/bmp/dib_header.h"

#include <algorithm>
#include <bit>
#include <span>

#include "decoder/input/four_letter_code.h"
#include "decoder/input/number_reader.h"

namespace sorvane::decoder {

namespace {

// The header's forms, told apart by their length, which is their first field.
constexpr std::uint32_t os2Core = 12;
constexpr std::uint32_t os2Short = 16;
constexpr std::uint32_t windows = 40;
constexpr std::uint32_t windowsMasks = 52;
constexpr std::uint32_t windowsAlphaMask = 56;
constexpr std::uint32_t os2Full = 64;
constexpr std::uint32_t windows4 = 108;
constexpr std::uint32_t windows5 = 124;
constexpr std::array forms = {os2Core,          os2Short, windows,  windowsMasks,
                              windowsAlphaMask, os2Full,  windows4, windows5};

// The values of the compression field.
constexpr std::uint32_t plain = 0;
constexpr std::uint32_t rle8 = 1;
constexpr std::uint32_t rle4 = 2;
constexpr std::uint32_t bitFields = 3;
constexpr std::uint32_t os2Rle24 = 4;
constexpr std::uint32_t alphaBitFields = 6;

constexpr std::size_t maskOffset = 40;

constexpr std::array<std::uint32_t, 4> masks555 = {0x7c00, 0x03e0, 0x001f, 0};
constexpr std::array<std::uint32_t, 4> masks888 = {0xff0000, 0x00ff00, 0x0000ff, 0};

/// Reads one header's parts one after the other.
class HeaderReader {
  public:
    HeaderReader(SequentialReader& file, std::uint64_t pixels) : file_(file), pixels_(pixels) {}

    std::optional<DibHeader> read() {
        if (!readFields() || !chooseCoding() || !readMasks() || !readPalette()) return std::nullopt;
        if (pixels_ != 0 && !file_.skipTo(pixels_)) return std::nullopt;
        readColours();
        return header_;
    }

  private:
    bool isOs2() const { return form_ == os2Core || form_ == os2Short || form_ == os2Full; }
    bool hasPalette() const { return header_.depth <= 8; }
    std::uint32_t u16(std::size_t offset) const { return numbers_.u16(offset).value_or(0); }
    std::uint32_t u32(std::size_t offset) const { return numbers_.u32(offset).value_or(0); }

    bool readFields();
    bool chooseCoding();
    bool readMasks();
    bool readPalette();
    void readColours();

    SequentialReader& file_;
    std::uint64_t pixels_;
    std::array<std::uint8_t, windows5> fields_{};
    // Fields that a shorter form lacks are 0, which is their default in the longer ones.
    NumberReader numbers_{fields_, ByteOrder::little};
    std::uint32_t form_ = 0;
    std::uint32_t compression_ = plain;
    DibHeader header_;
};

bool HeaderReader::readFields() {
    if (!file_.read(std::span(fields_).first(4))) return false;
    form_ = u32(0);
    if (std::ranges::find(forms, form_) == forms.end()) return false;
    if (!file_.read(std::span(fields_).subspan(4, form_ - 4))) return false;
    if (form_ == os2Core) {
        header_.size = {u16(4), u16(6)};
        header_.depth = static_cast<std::uint16_t>(u16(10));
        return true;
    }
    const std::uint32_t height = u32(8);
    header_.topDown = height >> 31 != 0;
    header_.size = {u32(4), header_.topDown ? 0 - height : height};
    header_.depth = static_cast<std::uint16_t>(u16(14));
    compression_ = u32(16);
    return header_.size.width >> 31 == 0;
}

// Each of the three run-length codings belongs to one depth. The values 3 and 4 mean something
// else in OS/2 than in Windows.
bool HeaderReader::chooseCoding() {
    switch (compression_) {
    case plain:
        header_.coding = DibCoding::plain;
        break;
    case rle8:
        header_.coding = DibCoding::rle8;
        return header_.depth == 8;
    case rle4:
        header_.coding = DibCoding::rle4;
        return header_.depth == 4;
    case os2Rle24:
        header_.coding = DibCoding::rle24;
        return isOs2() && header_.depth == 24;
    case bitFields:
    case alphaBitFields:
        return !isOs2() && (header_.depth == 16 || header_.depth == 24 || header_.depth == 32);
    default:
        return false;
    }
    constexpr std::array depths = {1, 2, 4, 8, 16, 24, 32};
    return std::ranges::find(depths, int{header_.depth}) != depths.end();
}

bool hasNoGap(std::uint32_t mask) {
    return mask == 0 || std::has_single_bit((mask >> std::countr_zero(mask)) + std::uint64_t{1});
}

bool HeaderReader::readMasks() {
    header_.masks = header_.depth == 16 ? masks555 : masks888;
    header_.fourthByteUnspecified = header_.depth == 32 && compression_ == plain;
    if (compression_ != bitFields && compression_ != alphaBitFields) return true;
    // After the shortest form that can have masks they stand apart from it, and alpha is one of
    // them only if the compression says so.
    std::size_t count = form_ >= windowsAlphaMask ? 4 : 3;
    if (form_ == windows) {
        count = compression_ == alphaBitFields ? 4 : 3;
        if (!file_.read(std::span(fields_).subspan(maskOffset, 4 * count))) return false;
    }
    std::uint32_t any = 0;
    for (std::size_t i = 0; i < header_.masks.size(); ++i) {
        header_.masks[i] = i < count ? u32(maskOffset + 4 * i) : 0;
        any |= header_.masks[i];
    }
    const bool inside = header_.depth == 32 || any >> header_.depth == 0;
    return any != 0 && inside && std::ranges::all_of(header_.masks, hasNoGap);
}

// A palette ends where the pixels begin, whatever its number of entries says. Pictures of true
// colour may have one too, for displays with few colours: it is skipped.
bool HeaderReader::readPalette() {
    const std::uint32_t entryLength = form_ == os2Core ? 3 : 4;
    std::uint64_t entries = form_ >= windows ? u32(32) : 0;
    if (entries == 0 && hasPalette()) entries = std::uint64_t{1} << header_.depth;
    if (pixels_ != 0) {
        if (pixels_ < file_.offset()) return false;
        entries = std::min(entries, (pixels_ - file_.offset()) / entryLength);
    }
    if (!hasPalette()) return file_.skip(entries * entryLength);
    const std::uint64_t used = std::min(entries, std::uint64_t{1} << header_.depth);
    for (std::size_t i = 0; i < used; ++i) {
        std::array<std::uint8_t, 4> entry{};
        if (!file_.read(std::span(entry).first(entryLength))) return false;
        header_.palette[i] = {entry[2], entry[1], entry[0]};
    }
    return file_.skip((entries - used) * entryLength);
}

void HeaderReader::readColours() {
    constexpr std::uint32_t srgb = fourLetterCode("sRGB");
    constexpr std::uint32_t windowsColours = fourLetterCode("Win "); // which are sRGB too
    constexpr std::uint32_t embeddedProfile = fourLetterCode("MBED");
    if (form_ < windows4) return;
    const std::uint32_t space = u32(56);
    if (space == srgb || space == windowsColours) header_.colours = DibColours::srgb;
    if (space != embeddedProfile || form_ < windows5) return;
    header_.colours = DibColours::profile;
    header_.profileOffset = u32(112);
    header_.profileLength = u32(116);
}

} // namespace

std::optional<DibHeader> readDibHeader(SequentialReader& file, std::uint64_t pixels) {
    return HeaderReader(file, pixels).read();
}

} // namespace sorvane::decoder
