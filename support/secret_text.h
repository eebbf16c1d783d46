#pragma once

#include <string>
#include <utility>

namespace sorvane {

/// A secret. Its whole capacity is overwritten with zeros on destruction, and every copy's too. Not
/// overwritten are the buffers that it left when it grew, so reserve first, and copies of another
/// type.
class SecretText : public std::string {
  public:
    using std::string::string;
    SecretText(std::string text) : std::string(std::move(text)) {}
    SecretText(const SecretText&) = default;
    SecretText(SecretText&&) = default;
    SecretText& operator=(const SecretText&) = default;
    SecretText& operator=(SecretText&&) = default;
    ~SecretText() {
        assign(capacity(), '\0');
        // A compiler would leave out what nobody reads any more.
        asm volatile("" : : "r"(data()) : "memory");
    }
};

} // namespace sorvane
