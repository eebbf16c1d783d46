// The whole at once.

#include <algorithm>
#include <memory>

#include <libdeflate.h>

#include "bench/programs/inflate.h"

namespace sorvane::bench {

// The library wants its input in one piece: the pieces are moved together where they stand.
bool inflates(const std::vector<Bytes>& pieces, std::size_t size) {
    std::uint8_t* end = pieces.front().data();
    for (const Bytes piece : pieces) end = std::copy(piece.begin(), piece.end(), end);
    const auto inflated = std::make_unique_for_overwrite<std::uint8_t[]>(size);
    libdeflate_decompressor* engine = libdeflate_alloc_decompressor();
    const std::uint8_t* begin = pieces.front().data();
    const bool whole =
        libdeflate_zlib_decompress(engine, begin, static_cast<std::size_t>(end - begin),
                                   inflated.get(), size, nullptr) == LIBDEFLATE_SUCCESS;
    libdeflate_free_decompressor(engine);
    return whole;
}

} // namespace sorvane::bench
