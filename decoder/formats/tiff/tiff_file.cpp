#include "decoder/formats/tiff/tiff_file.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

namespace sorvane::decoder {

namespace {

constexpr std::uint16_t classicMark = 42;
constexpr std::uint16_t bigMark = 43;
constexpr std::size_t maxHeaderLength = 16;

// How one maker's cameras begin their raw files, after the byte order.
constexpr std::string_view rawBeginning("*\0\x10\0\0\0CR\2\0", 10);

// As many as the classic form can count; a big one with more is rejected.
constexpr std::uint64_t maxEntries = 65'535;

constexpr std::uint16_t subfileTypeTag = 254;
constexpr std::uint16_t subdirectoriesTag = 330;
constexpr std::uint16_t extraSamplesTag = 338;
constexpr std::uint16_t profileTag = 34675;
constexpr std::uint16_t rawVersionTag = 50706;
constexpr std::uint32_t reducedCopy = 1;

// Offsets and lengths of strips and of tiles, one for each of them.
constexpr std::array<std::uint16_t, 4> pieceTags = {273, 279, 324, 325};

// Size and form of the samples, compression and its settings, palette, inks, YCbCr.
constexpr std::array<std::uint16_t, 35> pixelTags = {
    256, 257, 258, 259, 262, 266, 274, 277, 278, 284, 292, 293, 317, 320, 322, 323, 332,  334,
    338, 339, 347, 512, 513, 514, 515, 517, 518, 519, 520, 521, 529, 530, 531, 532, 50674};

// Strips or tiles. libtiff keeps 16 bytes for each and takes a call for each; even rows of sixty
// million pixels in strips of one row are mostly fewer.
constexpr std::uint64_t maxPieces = std::uint64_t{1} << 24;

// Longer than the palette of 16-bit indices; nothing else of `pixelTags` comes near.
constexpr std::uint64_t maxPixelTagBytes = std::uint64_t{1} << 20;

// Bytes a value, by the number of its type; 0: there is no such type.
constexpr std::array<std::uint8_t, 19> typeLengths = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4,
                                                      8, 4, 8, 4, 0, 0, 8, 8, 8};

template<std::size_t count>
bool contains(const std::array<std::uint16_t, count>& tags, std::uint16_t tag) {
    return std::ranges::find(tags, tag) != tags.end();
}

} // namespace

/// What differs between the classic and the big form.
struct TiffFile::Form {
    ByteOrder order;
    bool big;

    std::size_t headerLength() const { return big ? 16 : 8; }
    std::size_t countLength() const { return big ? 8 : 2; }
    std::size_t entryLength() const { return big ? 20 : 12; }
    std::size_t valueLength() const { return big ? 8 : 4; }

    std::optional<std::uint64_t> count(const NumberReader& from) const {
        if (big) return from.u64(0);
        return from.u16(0);
    }

    /// The forms' longer numbers.
    std::optional<std::uint64_t> number(const NumberReader& from, std::size_t offset) const {
        if (big) return from.u64(offset);
        return from.u32(offset);
    }
};

/// One entry of the directory; `offset` is where its value lies in the file.
struct TiffFile::Entry {
    std::uint16_t tag;
    std::uint16_t type;
    std::uint64_t length;
    std::uint64_t offset;
    std::uint32_t firstNumber;
};

bool TiffFile::readDirectory() {
    const auto header = file_.at(0, maxHeaderLength);
    if (header.size() < 8 || header[0] != header[1] || (header[0] != 'I' && header[0] != 'M'))
        return false;
    Form form{header[0] == 'I' ? ByteOrder::little : ByteOrder::big, false};
    const NumberReader numbers(header, form.order);
    form.big = numbers.u16(2) == bigMark;
    if (!form.big && numbers.u16(2) != classicMark) return false;
    const std::string_view text(reinterpret_cast<const char*>(header.data()), header.size());
    if (text.substr(2).starts_with(rawBeginning)) return false;
    const auto directory = form.number(numbers, form.big ? 8 : 4);
    return directory && *directory >= form.headerLength() && readEntries(form, *directory);
}

bool TiffFile::readEntries(const Form& form, std::uint64_t directory) {
    const auto counted = file_.at(directory, form.countLength());
    const NumberReader counter(counted, form.order);
    const auto count = form.count(counter);
    if (!count || *count > maxEntries) return false;
    const std::size_t length = *count * form.entryLength();
    const auto bytes = file_.at(directory + form.countLength(), length);
    if (bytes.size() < length) return false;
    const std::vector<std::uint8_t> entries(bytes.begin(), bytes.end());
    const NumberReader numbers(entries, form.order);

    bool reduced = false;
    bool raw = false;
    shown_.assign(form.countLength(), 0);
    for (std::size_t at = 0; at < length; at += form.entryLength()) {
        const std::size_t value = at + 4 + form.valueLength();
        const std::uint16_t type = *numbers.u16(at + 2);
        const std::uint64_t items = *form.number(numbers, at + 4);
        const std::uint64_t width = type < typeLengths.size() ? typeLengths[type] : 0;
        if (width == 0 || items > maxTiffFileBytes) continue;
        const std::uint64_t offset = items * width > form.valueLength()
                                         ? *form.number(numbers, value)
                                         : directory + form.countLength() + value;
        const Entry entry{*numbers.u16(at), type, items * width, offset, *numbers.u32(value)};
        reduced = reduced || (entry.tag == subfileTypeTag && entry.firstNumber == reducedCopy);
        raw = raw || entry.tag == rawVersionTag || (reduced && entry.tag == subdirectoriesTag);
        if (contains(pieceTags, entry.tag) && items > maxPieces) return false;
        keep(entry, std::span(entries).subspan(at, form.entryLength()));
    }
    if (raw) return false;

    // Before the entries their number, after them the offset 0: no further directory.
    const std::size_t kept = tags_.size();
    const std::size_t lowest = form.order == ByteOrder::big ? form.countLength() - 1 : 0;
    shown_[lowest] = static_cast<std::uint8_t>(kept);
    shown_.insert(shown_.end(), form.valueLength(), 0);
    directory_ = directory;
    return true;
}

// Of two entries with one tag the first counts, so no more are kept than there are tags.
void TiffFile::keep(const Entry& entry, std::span<const std::uint8_t> bytes) {
    if (entry.tag == profileTag && profileLength_ == 0) {
        profileOffset_ = entry.offset;
        profileLength_ = entry.length;
    }
    const bool wanted = contains(pieceTags, entry.tag) ||
                        (contains(pixelTags, entry.tag) && entry.length <= maxPixelTagBytes);
    if (!wanted || std::ranges::find(tags_, entry.tag) != tags_.end()) return;
    namesExtraSamples_ = namesExtraSamples_ || entry.tag == extraSamplesTag;
    tags_.push_back(entry.tag);
    shown_.insert(shown_.end(), bytes.begin(), bytes.end());
}

std::size_t TiffFile::read(std::uint64_t offset, std::span<std::uint8_t> to) noexcept {
    const auto bytes = file_.at(offset, to.size());
    std::ranges::copy(bytes, to.begin());
    const std::uint64_t begin = std::max(offset, directory_);
    const std::uint64_t end = std::min(offset + bytes.size(), directory_ + shown_.size());
    if (begin < end)
        std::memcpy(to.data() + (begin - offset), shown_.data() + (begin - directory_),
                    end - begin);
    return bytes.size();
}

std::optional<IccProfile> TiffFile::profile() {
    if (profileLength_ == 0 || profileLength_ > maxProfileBytes) return std::nullopt;
    const auto bytes = file_.at(profileOffset_, profileLength_);
    if (bytes.size() < profileLength_) return std::nullopt;
    return IccProfile{{bytes.begin(), bytes.end()}};
}

} // namespace sorvane::decoder
