// SHA-256 by nettle, which uses the processor's own instructions where they exist.

#include <array>

#include <nettle/sha2.h>

#include "identity/sha256.h"

namespace sorvane {

struct Sha256::Engine {
    sha256_ctx context;
};

Sha256::Sha256() : engine_(std::make_unique<Engine>()) { sha256_init(&engine_->context); }
Sha256::~Sha256() = default;

void Sha256::update(std::string_view bytes) {
    sha256_update(&engine_->context, bytes.size(),
                  reinterpret_cast<const std::uint8_t*>(bytes.data()));
}

std::string Sha256::hex() {
    std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest;
    sha256_digest(&engine_->context, digest.size(), digest.data());
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    text.reserve(2 * digest.size());
    for (const std::uint8_t byte : digest) {
        text += digits[byte >> 4];
        text += digits[byte & 0xf];
    }
    return text;
}

} // namespace sorvane
