#include <doctest/doctest.h>

#include "identity/decoder_choice.h"
#include "identity/image_formats.h"

using namespace sorvane;

TEST_CASE("a file that begins like a picture is decoded by the program of its format") {
    for (const ImageFormatRow& row : imageFormats) {
        CAPTURE(row.program);
        CHECK(decoderFor(row.signature) == row.program);
    }
}

TEST_CASE("an empty file is worth no decoder") { CHECK_FALSE(decoderFor("")); }
