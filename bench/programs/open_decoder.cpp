// open_decoder: what sorvane-pixels does, for an observer who has to stand in the same process: no
// limits, no filter of calls.

#include <cstdio>
#include <cstdlib>
#include <variant>

#include <unistd.h>

#include "decoder/pixel_identity.h"

int main() {
    sorvane::decoder::ByteSource file(STDIN_FILENO);
    const auto answer = sorvane::decoder::pixelIdentity(file);
    const auto* identity = answer ? std::get_if<sorvane::PixelIdentity>(&*answer) : nullptr;
    if (identity == nullptr) return EXIT_FAILURE;
    std::puts(identity->digest.c_str());
    return EXIT_SUCCESS;
}
