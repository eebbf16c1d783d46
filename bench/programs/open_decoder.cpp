// open_decoder: what sorvane-pixels does, for an observer who has to stand in the same process: no
// limits, no filter of calls.

#include <cstdio>
#include <cstdlib>

#include <unistd.h>

#include "decoder/pixel_identity.h"

int main() {
    sorvane::decoder::ByteSource file(STDIN_FILENO);
    const auto identity = sorvane::decoder::pixelIdentity(file);
    if (!identity) return EXIT_FAILURE;
    std::puts(identity->digest.c_str());
    return EXIT_SUCCESS;
}
