#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace sorvane {

/// An incremental SHA-256: any number of calls of `update`, then one of `hex`. Each system has its
/// own engine.
class Sha256 {
  public:
    Sha256();
    Sha256(const Sha256&) = delete;
    Sha256& operator=(const Sha256&) = delete;
    ~Sha256();

    void update(std::string_view bytes);

    static constexpr std::size_t textLength = 64;

    /// The digest of bytes that are all in memory.
    static std::string hexOf(std::string_view bytes) {
        Sha256 digest;
        digest.update(bytes);
        return digest.hex();
    }

    /// The digest as 64 lower-case hexadecimal digits. Nothing may be called after it.
    std::string hex();

  private:
    struct Engine;
    std::unique_ptr<Engine> engine_;
};

} // namespace sorvane
