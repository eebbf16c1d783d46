#pragma once

#include <cstddef>
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
        secret_.resize(secret_.capacity());
        // Volatile: a compiler would leave out what nobody reads any more.
        volatile char* byte = secret_.data();
        for (std::size_t left = secret_.size(); left > 0; --left) *byte++ = 0;
        secret_.clear();
    }

  private:
    std::string& secret_;
};

} // namespace sorvane
