// Piece by piece, through one small window.

#include <array>

#include <isa-l/igzip_lib.h>

#include "bench/programs/inflate.h"

namespace sorvane::bench {

bool inflates(const std::vector<Bytes>& pieces, std::size_t size) {
    static inflate_state state;
    static std::array<std::uint8_t, 65'536> window;
    isal_inflate_init(&state);
    state.crc_flag = ISAL_ZLIB;
    std::size_t inflated = 0;
    for (const Bytes piece : pieces) {
        state.next_in = piece.data();
        state.avail_in = static_cast<std::uint32_t>(piece.size());
        do {
            state.next_out = window.data();
            state.avail_out = window.size();
            if (isal_inflate(&state) != ISAL_DECOMP_OK) return false;
            inflated += window.size() - state.avail_out;
        } while (state.avail_out == 0 && state.block_state != ISAL_BLOCK_FINISH);
    }
    return inflated == size;
}

} // namespace sorvane::bench
