#pragma once

#include <memory>

#include "decoder/input/byte_source.h"
#include "decoder/picture/picture.h"

namespace sorvane::test {

/// PNG with every pixel read by libpng, the interlace undone by it too: the reference for the
/// project's own reader. It holds the whole picture. The answers are the same but for two kinds of
/// damage: compressed data that are damaged after the last pixel, which libpng does not always
/// notice; and a block whose Huffman code is incomplete, which zlib rejects and the faster inflater
/// reads, if all checksums are right.
std::unique_ptr<decoder::Decoder> openPngByLibpng(decoder::ByteSource& file);

} // namespace sorvane::test
