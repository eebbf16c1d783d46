#pragma once

#include <cstdint>

#include "decoder/input/number_reader.h"
#include "tests/decoder/bytes.h"

namespace sorvane::test {

/// A directory entry whose value is one number, or lies at it.
struct TiffEntry {
    std::uint16_t tag, type;
    std::uint64_t count, value;
};

/// Builds TIFFs: a header, the directory right after it, and anything after that.
class TiffBytes {
  public:
    explicit TiffBytes(decoder::ByteOrder order = decoder::ByteOrder::little, bool big = false)
        : order_(order), big_(big) {}

    Bytes number(std::uint64_t value, std::size_t length) const {
        Bytes bytes(length);
        for (std::size_t i = 0; i < length; ++i)
            bytes[order_ == decoder::ByteOrder::little ? i : length - 1 - i] =
                static_cast<std::uint8_t>(value >> 8 * i);
        return bytes;
    }

    Bytes header() const {
        const Bytes mark(2, order_ == decoder::ByteOrder::little ? 'I' : 'M');
        if (!big_) return joined({mark, number(42, 2), number(8, 4)});
        return joined({mark, number(43, 2), number(8, 2), number(0, 2), number(16, 8)});
    }

    Bytes directory(const std::vector<TiffEntry>& entries, std::uint64_t next = 0) const {
        Bytes bytes = number(entries.size(), big_ ? 8 : 2);
        for (const TiffEntry& entry : entries) bytes = joined({bytes, entryBytes(entry)});
        return joined({bytes, number(next, big_ ? 8 : 4)});
    }

  private:
    // A short number stands in the first bytes of its field.
    Bytes entryBytes(const TiffEntry& entry) const {
        const std::size_t field = big_ ? 8 : 4;
        const bool isShort = entry.type == 3 && entry.count == 1;
        const Bytes value = isShort ? joined({number(entry.value, 2), Bytes(field - 2)})
                                    : number(entry.value, field);
        return joined(
            {number(entry.tag, 2), number(entry.type, 2), number(entry.count, field), value});
    }

    decoder::ByteOrder order_;
    bool big_;
};

} // namespace sorvane::test
