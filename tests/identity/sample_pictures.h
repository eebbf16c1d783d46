#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace sorvane::test {

/// Puts a PNG file together from its chunks.
class PNGFile {
  public:
    PNGFile& chunk(std::string_view kind, std::string_view content) {
        using namespace std::string_literals;
        const std::string body = std::string(kind) + std::string(content);
        bytes_ += number(static_cast<std::uint32_t>(content.size())) + body + number(check(body));
        return *this;
    }

    const std::string& bytes() const { return bytes_; }

  private:
    static std::string number(std::uint32_t value) {
        std::string text;
        for (int shift = 24; shift >= 0; shift -= 8)
            text += static_cast<char>(value >> shift & 0xFF);
        return text;
    }

    static std::uint32_t check(std::string_view text) {
        std::uint32_t remainder = 0xFFFFFFFF;
        for (const char character : text) {
            remainder ^= static_cast<unsigned char>(character);
            for (int bit = 0; bit < 8; ++bit)
                remainder = remainder >> 1 ^ ((remainder & 1) != 0 ? 0xEDB88320 : 0);
        }
        return ~remainder;
    }

    std::string bytes_ = "\x89PNG\r\n\x1a\n";
};

/// A PNG file of one opaque red pixel, with a comment if there is one to make.
inline std::string redPixelPNG(std::string_view comment = {}) {
    using namespace std::string_literals;
    PNGFile file;
    file.chunk("IHDR", "\0\0\0\x01\0\0\0\x01\x08\x02\0\0\0"s);
    if (!comment.empty()) file.chunk("tEXt", "Comment\0"s + std::string(comment));
    // The row's filter and its three colours, stored without compression.
    file.chunk("IDAT", "\x78\x01\x01\x04\0\xFB\xFF\0\xFF\0\0\x03\x01\x01\0"s);
    return file.chunk("IEND", "").bytes();
}

} // namespace sorvane::test
