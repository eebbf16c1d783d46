// SHA-256 by libcrypto's functions for this one digest. They are deprecated, but need no start: its
// digests by name first load providers and a configuration, which takes a millisecond.

#include "support/sha256.h"

#include <array>

#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/sha.h>

#include "support/hexadecimal.h"

namespace sorvane {

struct Sha256::Engine {
    SHA256_CTX context;
};

Sha256::Sha256() : engine_(std::make_unique<Engine>()) { ::SHA256_Init(&engine_->context); }
Sha256::~Sha256() = default;

void Sha256::update(std::string_view bytes) {
    ::SHA256_Update(&engine_->context, bytes.data(), bytes.size());
}

std::string Sha256::hex() {
    std::array<unsigned char, SHA256_DIGEST_LENGTH> digest;
    ::SHA256_Final(digest.data(), &engine_->context);
    std::string text;
    text.reserve(textLength);
    appendHex(text, digest);
    return text;
}

} // namespace sorvane
