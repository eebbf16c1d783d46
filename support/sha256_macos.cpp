#include "support/sha256.h"

#include <algorithm>
#include <array>
#include <limits>

#include <CommonCrypto/CommonDigest.h>

#include "support/hexadecimal.h"

namespace sorvane {

struct Sha256::Engine {
    CC_SHA256_CTX context;
};

Sha256::Sha256() : engine_(std::make_unique<Engine>()) { ::CC_SHA256_Init(&engine_->context); }

Sha256::~Sha256() = default;

void Sha256::update(std::string_view bytes) {
    // The length of one call has 32 bits.
    constexpr std::size_t maxPiece = std::numeric_limits<CC_LONG>::max();
    while (!bytes.empty()) {
        const std::size_t count = std::min(bytes.size(), maxPiece);
        ::CC_SHA256_Update(&engine_->context, bytes.data(), static_cast<CC_LONG>(count));
        bytes.remove_prefix(count);
    }
}

std::string Sha256::hex() {
    std::array<unsigned char, CC_SHA256_DIGEST_LENGTH> digest;
    ::CC_SHA256_Final(digest.data(), &engine_->context);
    std::string text;
    text.reserve(textLength);
    appendHex(text, digest);
    return text;
}

} // namespace sorvane
