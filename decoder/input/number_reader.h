#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace sorvane::decoder {

enum class ByteOrder { big, little };

/// Reads numbers from unchecked bytes: nothing for a number that is not wholly inside.
class NumberReader {
  public:
    NumberReader(std::span<const std::uint8_t> bytes, ByteOrder order)
        : bytes_(bytes), order_(order) {}

    std::optional<std::uint8_t> u8(std::size_t offset) const {
        const auto value = number<1>(offset);
        return value ? std::optional(static_cast<std::uint8_t>(*value)) : std::nullopt;
    }
    std::optional<std::uint16_t> u16(std::size_t offset) const {
        const auto value = number<2>(offset);
        return value ? std::optional(static_cast<std::uint16_t>(*value)) : std::nullopt;
    }
    std::optional<std::uint32_t> u32(std::size_t offset) const {
        const auto value = number<4>(offset);
        return value ? std::optional(static_cast<std::uint32_t>(*value)) : std::nullopt;
    }
    std::optional<std::uint64_t> u64(std::size_t offset) const { return number<8>(offset); }

  private:
    template<std::size_t length>
    std::optional<std::uint64_t> number(std::size_t offset) const {
        if (offset > bytes_.size() || bytes_.size() - offset < length) return std::nullopt;
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < length; ++i)
            value = value << 8 | bytes_[offset + (order_ == ByteOrder::big ? i : length - 1 - i)];
        return value;
    }

    std::span<const std::uint8_t> bytes_;
    ByteOrder order_;
};

} // namespace sorvane::decoder
