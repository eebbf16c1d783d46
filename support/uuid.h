#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sorvane {

/// A UUID of 16 bytes, written in groups of 8-4-4-4-12 hexadecimal digits.
class Uuid {
  public:
    /// A new random UUID (version 4), from the system's generator, without opening a file. Throws
    /// std::system_error when the system gives no random bytes.
    static Uuid random();

    /// Reads exactly the form of 36 characters, with hexadecimal letters in either case.
    static std::optional<Uuid> parse(std::string_view text);

    std::string upperText() const;
    std::string lowerText() const;

    bool operator==(const Uuid&) const = default;

  private:
    std::string text(std::string_view digits) const;

    std::array<std::uint8_t, 16> bytes_{};
};

} // namespace sorvane
