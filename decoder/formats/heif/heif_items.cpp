#include "decoder/formats/heif/heif_items.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "decoder/input/four_letter_code.h"
#include "decoder/input/number_reader.h"

namespace sorvane::decoder {

namespace {

constexpr std::array<std::string_view, 3> alphaTypes = {
    "urn:mpeg:avc:2015:auxid:1", "urn:mpeg:hevc:2015:auxid:1",
    "urn:mpeg:mpegB:cicp:systems:auxiliary:alpha"};

/// Reads a range of the file from its beginning on. A read beyond its end fails it for good, and
/// gives zeros.
class RangeReader {
  public:
    RangeReader(BufferedFile& file, std::uint64_t begin, std::uint64_t end)
        : file_(&file), offset_(begin), end_(end) {}

    bool failed() const { return failed_; }
    bool atEnd() const { return failed_ || offset_ >= end_; }
    std::uint64_t offset() const { return offset_; }
    std::uint64_t left() const { return end_ - offset_; }

    /// A number of 0 to 8 bytes.
    std::uint64_t number(unsigned bytes) {
        const auto found = failed_ || bytes > 8 || end_ - offset_ < bytes
                               ? std::span<const std::uint8_t>{}
                               : file_->at(offset_, bytes);
        if (found.size() < bytes) {
            failed_ = true;
            return 0;
        }
        offset_ += bytes;
        std::uint64_t value = 0;
        for (const std::uint8_t digits : found) value = value << 8 | digits;
        return value;
    }
    std::uint32_t u32() { return static_cast<std::uint32_t>(number(4)); }

    RangeReader part(std::uint64_t length) {
        failed_ = failed_ || length > end_ - offset_;
        RangeReader part(*file_, offset_, failed_ ? offset_ : offset_ + length);
        part.failed_ = failed_;
        if (!failed_) offset_ += length;
        return part;
    }

    bool startsWith(std::string_view text) const {
        if (failed_ || end_ - offset_ < text.size()) return false;
        const auto found = file_->at(offset_, text.size());
        return found.size() == text.size() &&
               std::memcmp(found.data(), text.data(), text.size()) == 0;
    }

  private:
    BufferedFile* file_;
    std::uint64_t offset_;
    std::uint64_t end_;
    bool failed_ = false;
};

struct Box {
    std::uint32_t name;
    RangeReader body;
};

Box nextBox(RangeReader& reader) {
    const std::uint32_t length = reader.u32();
    const std::uint32_t name = reader.u32();
    if (length == 1) {
        const std::uint64_t whole = reader.number(8);
        return {name, reader.part(whole < 16 ? ~std::uint64_t{0} : whole - 16)};
    }
    return {name, reader.part(length < 8 ? ~std::uint64_t{0} : length - 8)};
}

/// The version and the flags.
std::pair<unsigned, std::uint32_t> versionOf(RangeReader& reader) {
    const std::uint32_t both = reader.u32();
    return {both >> 24, both & 0xffffff};
}

struct Property {
    std::uint32_t name;
    RangeReader body;
};

class ItemReader {
  public:
    bool read(RangeReader meta);
    HeifItems result;

  private:
    using Read = bool (ItemReader::*)(RangeReader);

    bool readPrimary(RangeReader reader);
    bool readItems(RangeReader reader);
    bool readReferences(RangeReader reader);
    bool readProperties(RangeReader reader);
    bool associate(RangeReader reader, const std::vector<Property>& properties);
    bool readLocations(RangeReader reader);
    bool readLocation(RangeReader& reader, unsigned version, std::uint64_t sizes);
    static void apply(const Property& property, HeifItem& item);

    bool isInData(std::uint64_t offset, std::uint64_t length) const;

    std::optional<RangeReader> data_;
};

// Of two boxes with one name libheif reads the first.
bool ItemReader::read(RangeReader meta) {
    versionOf(meta);
    std::map<std::uint32_t, RangeReader> boxes;
    while (!meta.atEnd()) {
        const Box box = nextBox(meta);
        boxes.emplace(box.name, box.body);
    }
    if (meta.failed()) return false;
    if (const auto data = boxes.find(fourLetterCode("idat")); data != boxes.end())
        data_ = data->second;
    constexpr std::array<std::pair<std::uint32_t, Read>, 5> parts = {{
        {fourLetterCode("pitm"), &ItemReader::readPrimary},
        {fourLetterCode("iinf"), &ItemReader::readItems},
        {fourLetterCode("iprp"), &ItemReader::readProperties},
        {fourLetterCode("iloc"), &ItemReader::readLocations},
        {fourLetterCode("iref"), &ItemReader::readReferences},
    }};
    return std::ranges::all_of(parts, [&](const auto& part) {
        const auto found = boxes.find(part.first);
        return found == boxes.end() ? part.first == fourLetterCode("iref")
                                    : (this->*part.second)(found->second);
    });
}

bool ItemReader::readPrimary(RangeReader reader) {
    result.primary =
        static_cast<std::uint32_t>(reader.number(versionOf(reader).first == 0 ? 2 : 4));
    return !reader.failed();
}

bool ItemReader::readItems(RangeReader reader) {
    reader.number(versionOf(reader).first == 0 ? 2 : 4);
    while (!reader.atEnd()) {
        RangeReader entry = nextBox(reader).body;
        const unsigned version = versionOf(entry).first;
        if (version < 2) continue;
        const auto id = static_cast<std::uint32_t>(entry.number(version == 2 ? 2 : 4));
        entry.number(2);
        HeifItem item;
        item.type = entry.u32();
        if (entry.failed() || !result.items.emplace(id, std::move(item)).second) return false;
    }
    return !reader.failed();
}

bool ItemReader::readReferences(RangeReader reader) {
    const unsigned bytes = versionOf(reader).first == 0 ? 2 : 4;
    while (!reader.atEnd()) {
        auto [name, body] = nextBox(reader);
        const auto from = static_cast<std::uint32_t>(body.number(bytes));
        std::vector<std::uint32_t> to;
        for (auto left = body.number(2); left > 0 && !body.failed(); --left)
            to.push_back(static_cast<std::uint32_t>(body.number(bytes)));
        if (body.failed()) return false;
        const auto item = result.items.find(from);
        if (item == result.items.end()) continue;
        if (name == fourLetterCode("dimg")) {
            if (!item->second.parts.empty()) return false;
            item->second.parts = std::move(to);
        } else if (name == fourLetterCode("auxl") && item->second.isAlpha) {
            for (const std::uint32_t id : to)
                if (const auto of = result.items.find(id); of != result.items.end())
                    of->second.alphas.push_back(from);
        }
    }
    return !reader.failed();
}

bool ItemReader::readProperties(RangeReader reader) {
    std::vector<Property> properties;
    std::optional<RangeReader> associations;
    bool found = false;
    while (!reader.atEnd()) {
        auto [name, body] = nextBox(reader);
        if (name == fourLetterCode("ipma") && !associations) associations = body;
        if (name != fourLetterCode("ipco") || std::exchange(found, true)) continue;
        while (!body.atEnd()) {
            const Box property = nextBox(body);
            properties.push_back({property.name, property.body});
        }
        if (body.failed()) return false;
    }
    return !reader.failed() && associations && associate(*associations, properties);
}

bool ItemReader::associate(RangeReader reader, const std::vector<Property>& properties) {
    const auto [version, flags] = versionOf(reader);
    const bool wide = (flags & 1) != 0;
    for (std::uint32_t left = reader.u32(); left > 0 && !reader.failed(); --left) {
        const auto item =
            result.items.find(static_cast<std::uint32_t>(reader.number(version == 0 ? 2 : 4)));
        for (auto more = reader.number(1); more > 0 && !reader.failed(); --more) {
            const auto index = reader.number(wide ? 2 : 1) & (wide ? 0x7fff : 0x7f);
            if (item != result.items.end() && index > 0 && index <= properties.size())
                apply(properties[index - 1], item->second);
        }
    }
    return !reader.failed();
}

void ItemReader::apply(const Property& property, HeifItem& item) {
    RangeReader body = property.body;
    if (property.name == fourLetterCode("ispe")) {
        versionOf(body);
        const std::uint32_t width = body.u32();
        item.sizes.push_back({width, body.u32()});
    } else if (property.name == fourLetterCode("auxC")) {
        versionOf(body);
        item.isAlpha = item.isAlpha || std::ranges::any_of(alphaTypes, [&](auto type) {
                           return body.startsWith(type);
                       });
    } else {
        item.transformed = item.transformed || property.name == fourLetterCode("clap") ||
                           property.name == fourLetterCode("irot") ||
                           property.name == fourLetterCode("imir");
    }
}

bool ItemReader::readLocations(RangeReader reader) {
    const unsigned version = versionOf(reader).first;
    const auto sizes = reader.number(2);
    for (auto left = reader.number(version < 2 ? 2 : 4); left > 0; --left)
        if (!readLocation(reader, version, sizes)) return false;
    return !reader.failed();
}

bool ItemReader::readLocation(RangeReader& reader, unsigned version, std::uint64_t sizes) {
    const auto field = [&](int shift) { return static_cast<unsigned>(sizes >> shift & 15); };
    const auto id = static_cast<std::uint32_t>(reader.number(version < 2 ? 2 : 4));
    const auto method = version == 0 ? 0 : reader.number(2) & 15;
    reader.number(2);
    const std::uint64_t base = reader.number(field(4));
    const auto item = result.items.find(id);
    const auto extents = reader.number(2);
    for (auto left = extents; left > 0 && !reader.failed(); --left) {
        if (version > 0) reader.number(field(0));
        const std::uint64_t offset = reader.number(field(12));
        const std::uint64_t length = reader.number(field(8));
        if (item == result.items.end()) continue;
        item->second.cut = item->second.cut || (method == 1 && !isInData(base + offset, length));
        if (extents != 1 || method > 1 || item->second.cut) continue;
        item->second.offset = base + offset + (method == 1 ? data_->offset() : 0);
        item->second.length = length;
    }
    return !reader.failed();
}

bool ItemReader::isInData(std::uint64_t offset, std::uint64_t length) const {
    return data_ && offset <= data_->left() && length <= data_->left() - offset;
}

} // namespace

std::optional<HeifItems> readHeifItems(BufferedFile& file, std::uint64_t begin, std::uint64_t end) {
    ItemReader reader;
    if (!reader.read(RangeReader(file, begin, end))) return std::nullopt;
    return std::move(reader.result);
}

} // namespace sorvane::decoder
