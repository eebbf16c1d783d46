#include "support/ascii.h"

#include <string>

#include <doctest/doctest.h>

namespace ascii = sorvane::ascii;

namespace {

// Every byte that the predicate holds for, in order.
std::string members(bool (*holds)(char)) {
    std::string found;
    for (int byte = 0; byte < 256; ++byte)
        if (holds(static_cast<char>(byte))) found += static_cast<char>(byte);
    return found;
}

} // namespace

TEST_CASE("ascii: each class has its characters and no other byte") {
    const std::string digits = "0123456789";
    const std::string upper = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    const std::string lower = "abcdefghijklmnopqrstuvwxyz";
    CHECK(members(ascii::isDigit) == digits);
    CHECK(members(ascii::isLetter) == upper + lower);
    CHECK(members(ascii::isLetterOrDigit) == digits + upper + lower);
    CHECK(members(ascii::isHexDigit) == digits + "ABCDEF" + "abcdef");
}

TEST_CASE("ascii: only the capital letters have another lower case") {
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        const bool capital = byte >= 'A' && byte <= 'Z';
        CHECK(ascii::toLower(c) == static_cast<char>(capital ? byte + 32 : byte));
    }
}
