#include <doctest/doctest.h>

#include "identity/decoder_choice.h"

using namespace sorvane;

TEST_CASE("a file that begins like a picture is decoded by the program of its format") {
    CHECK(decoderFor("\x89PNG\r\n\x1a\n") == "sorvane-pixels");
}

TEST_CASE("an empty file is worth no decoder") { CHECK_FALSE(decoderFor("")); }
