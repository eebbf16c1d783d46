#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace sorvane {

/// An incremental SHA-256. Feed it in pieces with `update`, then take the digest once with `hex`.
/// One file per system holds its engine.
class Sha256 {
  public:
    Sha256();
    Sha256(const Sha256&) = delete;
    Sha256& operator=(const Sha256&) = delete;
    ~Sha256();

    void update(std::string_view bytes);

    static constexpr std::size_t textLength = 64;

    /// The digest text of bytes that are there at once.
    static std::string hexOf(std::string_view bytes) {
        Sha256 digest;
        digest.update(bytes);
        return digest.hex();
    }

    /// The digest text: 64 lower-case hexadecimal digits. Ends the computation.
    std::string hex();

  private:
    struct Engine;
    std::unique_ptr<Engine> engine_;
};

} // namespace sorvane
