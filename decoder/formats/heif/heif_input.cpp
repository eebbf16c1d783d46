#include "decoder/formats/heif/heif_input.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "decoder/formats/library_versions.h"
#include "decoder/input/four_letter_code.h"
#include "decoder/input/number_reader.h"

namespace sorvane::decoder {

namespace {

constexpr std::size_t shortHeaderLength = 8;
constexpr std::size_t longHeaderLength = 16;

/// An outermost box. Its length counts the header too, and is missing when the box reaches to the
/// end of the file.
struct Box {
    bool isMeta = false;
    std::optional<std::uint64_t> length;
    std::size_t headerLength = shortHeaderLength;
};

std::optional<Box> readBox(std::span<const std::uint8_t> header) {
    const NumberReader numbers(header, ByteOrder::big);
    const auto length = numbers.u32(0);
    if (!length || header.size() < shortHeaderLength) return std::nullopt;
    Box box;
    box.isMeta = numbers.u32(4) == fourLetterCode("meta");
    if (*length == 0) return box;
    box.length = *length;
    if (*length == 1) {
        box.headerLength = longHeaderLength;
        const auto high = numbers.u32(shortHeaderLength);
        const auto low = numbers.u32(shortHeaderLength + 4);
        if (!high || !low) return std::nullopt;
        box.length = std::uint64_t{*high} << 32 | *low;
    }
    if (*box.length < box.headerLength) return std::nullopt;
    return box;
}

} // namespace

constexpr heif_reader HeifInput::calls() {
    heif_reader reader{};
    reader.get_position = position;
    reader.read = read;
    reader.seek = seek;
    reader.wait_for_file_size = waitForSize;
    return reader;
}

bool HeifInput::readBoxes(heif_context* context) {
    static constexpr heif_reader reader = fileReader<available>(calls());
    meta_ = findMeta();
    if (!meta_) return false;
    end_ = static_cast<std::int64_t>(meta_->end);
    return heif_context_read_from_reader(context, &reader, this, nullptr).code == heif_error_Ok;
}

std::optional<CodedSizes> HeifInput::codedSizes() {
    if (!meta_) return std::nullopt;
    return derivedSizes(file_, meta_->begin, meta_->end);
}

int HeifInput::read(void* to, std::size_t count, void* data) {
    HeifInput& file = self(data);
    const auto bytes = file.file_.at(static_cast<std::uint64_t>(file.position_), count);
    if (bytes.size() < count) return -1;
    if (count > 0) std::memcpy(to, bytes.data(), count);
    file.showLength(static_cast<std::uint64_t>(file.position_),
                    {static_cast<std::uint8_t*>(to), count});
    file.position_ += static_cast<std::int64_t>(count);
    return 0;
}

int HeifInput::seek(std::int64_t position, void* data) {
    if (position < 0) return -1;
    self(data).position_ = position;
    return 0;
}

heif_reader_grow_status HeifInput::waitForSize(std::int64_t size, void* data) {
    HeifInput& file = self(data);
    const bool seemsOver = file.end_ && size > *file.end_;
    if (seemsOver) file.end_.reset();
    const bool reached =
        !seemsOver &&
        (size <= 0 || !file.file_.at(static_cast<std::uint64_t>(size - 1), 1).empty());
    return reached ? heif_reader_grow_status_size_reached : heif_reader_grow_status_size_beyond_eof;
}

// Where ranges are asked for, the end has to be seen here alone: at the file's beginning, of which
// libheif asks for a kilobyte, and where the box after `meta` would begin.
std::uint64_t HeifInput::available(std::uint64_t begin, std::uint64_t end, void* data) {
    HeifInput& file = self(data);
    file.end_.reset();
    if (begin == 0 || begin == file.meta_->end) end = std::min(end, file.meta_->end);
    return begin + file.file_.at(begin, std::max(begin, end) - begin).size();
}

// The body of the first `meta` box; the file may be shorter.
std::optional<HeifInput::Range> HeifInput::findMeta() {
    constexpr auto maxOffset = std::uint64_t{std::numeric_limits<std::int64_t>::max()};
    constexpr auto maxCount = std::numeric_limits<std::size_t>::max();
    std::uint64_t offset = 0;
    while (const auto box = readBox(file_.at(offset, longHeaderLength))) {
        if (!box->length && box->isMeta) {
            openMeta_ = offset;
            return Range{offset + box->headerLength, file_.at(0, maxCount).size()};
        }
        if (!box->length || *box->length > maxOffset - offset) return std::nullopt;
        if (box->isMeta) return Range{offset + box->headerLength, offset + *box->length};
        offset += *box->length;
    }
    return std::nullopt;
}

// libheif rejects a `meta` box that reaches to the end of the file without a length, so it is shown
// the length that the box has.
void HeifInput::showLength(std::uint64_t offset, std::span<std::uint8_t> bytes) const {
    if (!openMeta_) return;
    const std::uint64_t length = meta_->end - *openMeta_;
    for (std::uint64_t i = 0; i < 4; ++i)
        if (*openMeta_ + i >= offset && *openMeta_ + i - offset < bytes.size())
            bytes[*openMeta_ + i - offset] = static_cast<std::uint8_t>(length >> (24 - 8 * i));
}

} // namespace sorvane::decoder
