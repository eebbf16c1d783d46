#pragma once

#include <string_view>

#include "decoder/picture/geometry.h"
#include "tests/decoder/bytes.h"

namespace sorvane::test {

inline Bytes bigEndian(std::uint64_t value, std::size_t length) {
    Bytes bytes(length);
    for (std::size_t i = 0; i < length; ++i)
        bytes[length - 1 - i] = static_cast<std::uint8_t>(value >> 8 * i);
    return bytes;
}

inline Bytes box(std::string_view name, const Bytes& body) {
    return joined({bigEndian(body.size() + 8, 4), bytes(name), body});
}

/// A box that begins with a version and flags.
inline Bytes fullBox(std::string_view name, const Bytes& body, std::uint8_t version = 0,
                     std::uint8_t flags = 0) {
    return box(name, joined({{version, 0, 0, flags}, body}));
}

inline Bytes sizeProperty(decoder::Size size) {
    return fullBox("ispe", joined({bigEndian(size.width, 4), bigEndian(size.height, 4)}));
}

inline Bytes alphaProperty() {
    return fullBox("auxC", joined({bytes("urn:mpeg:hevc:2015:auxid:1"), {0}}));
}

/// An item as tests describe it; its bytes come to lie in `idat`.
struct DescribedItem {
    std::string_view type;
    std::vector<decoder::Size> sizes;
    std::vector<std::uint16_t> parts;
    /// The number of the item that it is the alpha of; 0: it is no alpha.
    std::uint16_t alphaOf = 0;
    bool turned = false;
    Bytes content;
    /// Said to reach beyond `idat`.
    bool cut = false;
};

/// The body of a `meta` box; the items have the numbers 1, 2, and so on.
class HeifMeta {
  public:
    HeifMeta(std::uint16_t primary, const std::vector<DescribedItem>& items) {
        for (const DescribedItem& item : items) add(item);
        const Bytes count = bigEndian(items.size(), 2);
        body_ = joined(
            {bigEndian(0, 4), fullBox("pitm", bigEndian(primary, 2)),
             fullBox("iinf", joined({count, entries_})), fullBox("iref", references_),
             box("iprp", joined({box("ipco", properties_),
                                 fullBox("ipma", joined({bigEndian(items.size(), 4), owners_}))})),
             fullBox("iloc", joined({{0x44, 0}, count, locations_}), 1), box("idat", data_)});
    }

    const Bytes& body() const { return body_; }

  private:
    static void append(Bytes& to, const Bytes& more) {
        to.insert(to.end(), more.begin(), more.end());
    }

    void add(const DescribedItem& item) {
        const Bytes id = bigEndian(++lastId_, 2);
        append(entries_, fullBox("infe", joined({id, {0, 0}, bytes(item.type), {0}}), 2));
        if (!item.parts.empty()) addReference("dimg", id, item.parts);
        if (item.alphaOf != 0) addReference("auxl", id, {item.alphaOf});
        addProperties(item, id);
        append(locations_, joined({id,
                                   {0, 1, 0, 0, 0, 1},
                                   bigEndian(data_.size(), 4),
                                   bigEndian(item.cut ? 0x10000 : item.content.size(), 4)}));
        append(data_, item.content);
    }

    void addReference(std::string_view name, const Bytes& from,
                      const std::vector<std::uint16_t>& to) {
        Bytes body = joined({from, bigEndian(to.size(), 2)});
        for (const std::uint16_t id : to) append(body, bigEndian(id, 2));
        append(references_, box(name, body));
    }

    void addProperties(const DescribedItem& item, const Bytes& id) {
        std::vector<Bytes> own;
        for (const decoder::Size size : item.sizes) own.push_back(sizeProperty(size));
        if (item.alphaOf != 0) own.push_back(alphaProperty());
        if (item.turned) own.push_back(box("irot", {1}));
        append(owners_, joined({id, {static_cast<std::uint8_t>(own.size())}}));
        for (const Bytes& property : own) {
            append(properties_, property);
            owners_.push_back(++lastProperty_);
        }
    }

    Bytes body_, entries_, references_, properties_, owners_, locations_, data_;
    std::uint16_t lastId_ = 0;
    std::uint8_t lastProperty_ = 0;
};

} // namespace sorvane::test
