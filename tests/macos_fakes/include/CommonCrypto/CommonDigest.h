#pragma once

// CommonCrypto's SHA-256, by the names and signatures of its public documentation, for tests on
// other systems.

#include <cstdint>

#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/sha.h>

extern "C" {

using CC_LONG = std::uint32_t;

enum { CC_SHA256_DIGEST_LENGTH = 32 };

struct CC_SHA256_CTX {
    SHA256_CTX context;
};

int CC_SHA256_Init(CC_SHA256_CTX* context);
int CC_SHA256_Update(CC_SHA256_CTX* context, const void* data, CC_LONG length);
int CC_SHA256_Final(unsigned char* digest, CC_SHA256_CTX* context);
}
