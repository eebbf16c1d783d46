#include "support/uuid.h"

#include <cerrno>
#include <system_error>

#include <sys/random.h>
#include <unistd.h>

#include "support/ascii.h"
#include "support/hexadecimal.h"

namespace sorvane {

namespace {

constexpr std::size_t textLength = 36;

// A hyphen stands before these bytes.
constexpr bool startsGroup(std::size_t byte) {
    return byte == 4 || byte == 6 || byte == 8 || byte == 10;
}

constexpr std::size_t noDigit = std::string_view::npos;

constexpr std::size_t digitValue(char digit) { return lowerHexDigits.find(ascii::toLower(digit)); }

} // namespace

Uuid Uuid::random() {
    Uuid uuid;
    // Opens no file. Declared in <sys/random.h> by macOS, in <unistd.h> by the C library of Linux.
    if (::getentropy(uuid.bytes_.data(), uuid.bytes_.size()) != 0)
        throw std::system_error(errno, std::generic_category(), "random bytes");
    uuid.bytes_[6] = static_cast<std::uint8_t>((uuid.bytes_[6] & 0x0F) | 0x40); // version 4
    uuid.bytes_[8] = static_cast<std::uint8_t>((uuid.bytes_[8] & 0x3F) | 0x80); // RFC 9562 variant
    return uuid;
}

std::optional<Uuid> Uuid::parse(std::string_view text) {
    if (text.size() != textLength) return std::nullopt;
    Uuid uuid;
    std::size_t offset = 0;
    for (std::size_t byte = 0; byte < uuid.bytes_.size(); ++byte) {
        if (startsGroup(byte) && text[offset++] != '-') return std::nullopt;
        const std::size_t high = digitValue(text[offset++]);
        const std::size_t low = digitValue(text[offset++]);
        if (high == noDigit || low == noDigit) return std::nullopt;
        uuid.bytes_[byte] = static_cast<std::uint8_t>(high << 4 | low);
    }
    return uuid;
}

std::string Uuid::upperText() const { return text(upperHexDigits); }
std::string Uuid::lowerText() const { return text(lowerHexDigits); }

std::string Uuid::text(std::string_view digits) const {
    std::string result;
    result.reserve(textLength);
    std::size_t byte = 0;
    for (const std::size_t groupBytes : {4U, 2U, 2U, 2U, 6U}) {
        if (byte > 0) result += '-';
        appendHex(result, std::span(bytes_).subspan(byte, groupBytes), digits);
        byte += groupBytes;
    }
    return result;
}

} // namespace sorvane
