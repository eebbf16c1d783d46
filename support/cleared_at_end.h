#pragma once

#include <string>

namespace sorvane {

/// Overwrites all that a text has room for when a scope ends, and empties it: for a secret that has
/// served. What the text has moved from by growing, or was copied to, stays as it is.
class ClearedAtEnd {
  public:
    explicit ClearedAtEnd(std::string& secret) : secret_(secret) {}
    ClearedAtEnd(const ClearedAtEnd&) = delete;
    ClearedAtEnd& operator=(const ClearedAtEnd&) = delete;
    ~ClearedAtEnd() {
        secret_.assign(secret_.capacity(), '\0');
        // A compiler would leave out what nobody reads any more.
        asm volatile("" : : "r"(secret_.data()) : "memory");
        secret_.clear();
    }

  private:
    std::string& secret_;
};

} // namespace sorvane
