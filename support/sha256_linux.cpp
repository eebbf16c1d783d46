// SHA-256 by nettle, which uses the processor's own instructions where they exist.

#include "support/sha256.h"

#include <array>
#include <cstdint>

#include <nettle/sha2.h>

#include "support/hexadecimal.h"

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
    std::string text;
    text.reserve(textLength);
    appendHex(text, digest);
    return text;
}

} // namespace sorvane
