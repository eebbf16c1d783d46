#include "tools/doctor/file_explanation.h"

#include <doctest/doctest.h>

using sorvane::doctor::reasonIn;

TEST_CASE("an explanation's reason is the line of that key, and no other text") {
    CHECK(reasonIn("format png\nsize 1 1\nreason the file is cut\n") == "the file is cut");
    CHECK(reasonIn("colour ICC profile \"a reason to\"\nreason damage\n") == "damage");
    CHECK(reasonIn("colour ICC profile \"a reason to\"\n") == "");
    CHECK(reasonIn("reason \xFF\n") == "\xEF\xBF\xBD");
    CHECK(reasonIn("") == "");
}
