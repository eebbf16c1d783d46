#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace sorvane::test {

/// What the decoders of these tests make of the bytes they are given, in place of a picture's
/// pixels: it differs when a byte is lost, doubled or misplaced. The line feed is not in it.
class FakePicture {
  public:
    void add(std::string_view bytes) {
        for (const char byte : bytes) {
            state_ ^= static_cast<unsigned char>(byte);
            state_ *= 0x100000001b3;
        }
        size_ += bytes.size();
    }

    std::string digest() const {
        std::string text;
        for (int digit = 0; digit < 64; ++digit)
            text += "0123456789abcdef"[state_ >> (digit % 16 * 4) & 15];
        return text;
    }

    std::string answer() const { return digest() + " " + std::to_string(size_ + 1) + " 2"; }

  private:
    std::uint64_t state_ = 0xcbf29ce484222325;
    std::uint64_t size_ = 0;
};

} // namespace sorvane::test
