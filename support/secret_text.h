#pragma once

#include <string>
#include <utility>

namespace sorvane {

/// A text that overwrites all it has room for when it ends, and so does each copy of it: for a
/// secret that has served. What it has moved from by growing, or was copied to as another type,
/// stays as it is.
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
