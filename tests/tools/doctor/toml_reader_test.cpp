#include "tools/doctor/toml_reader.h"

#include <stdexcept>
#include <string>

#include <doctest/doctest.h>

using namespace sorvane::doctor;

namespace {

std::string repeated(std::string_view text, std::size_t count) {
    std::string result;
    while (count-- > 0) result += text;
    return result;
}

std::string key(std::size_t parts) { return "a" + repeated(".a", parts - 1); }

} // namespace

TEST_CASE("tables, lists, texts, numbers and flags are read, and a moment is nothing") {
    CHECK(parseTOML("a.b = [1, 2.5, true, \"x\", 2026-11-22]\n[c]\nd = 'y'\n") ==
          nlohmann::json{{"a", {{"b", {1, 2.5, true, "x", nullptr}}}}, {"c", {{"d", "y"}}}});
}

TEST_CASE("tables deeper than anybody writes are rejected, wherever they stand") {
    constexpr std::size_t deep = 200'000;
    const std::string line = key(deep) + " = 1";
    for (const std::string& text :
         {line, "[" + key(deep) + "]", "[[" + key(deep) + "]]", "a = {" + line + "}",
          "a = " + repeated("[", deep), "a = " + repeated("{a = ", deep), "a . " + line,
          "b = '''x''''\n" + line + "\nc = ''", "b = \"\"\"\\\"\"\"\"\n" + line,
          "b = \"\"\n" + line + "\nc = ''", "# it's\n" + line + "\nb = 'x'",
          "b = '\\'\n" + line + "\nc = ''"}) {
        const std::string shown = text.substr(0, 40);
        CAPTURE(shown);
        CHECK_THROWS_AS(parseTOML(text), std::runtime_error);
    }
}

TEST_CASE("as many tables as there may be within one another can be read") {
    CHECK_NOTHROW(parseTOML(key(64) + " = 1"));
    CHECK_THROWS_AS(parseTOML(key(65) + " = 1"), std::runtime_error);
    CHECK_NOTHROW(
        parseTOML("a = " + repeated("{" + key(60) + " = ", 60) + "1" + repeated("}", 60)));
}

TEST_CASE("letters beyond ASCII are no blanks: an error in a bare key, and kept where blanks go") {
    for (const std::string letter : {"\u00e9", "\u02de", "\u045e", "\uff21", "\U0001f600"}) {
        CAPTURE(letter);
        CHECK_THROWS_AS(parseTOML(letter + " = 1"), std::runtime_error);
        CHECK_THROWS_AS(parseTOML("a" + letter + " = 1"), std::runtime_error);
        CHECK(parseTOML("a = \"\"\"b\\\n  " + letter + "\"\"\"")["a"] == "b" + letter);
    }
}

TEST_CASE("dots in texts and comments are no parts of a key") {
    const std::string dots(1000, '.');
    CHECK(parseTOML("# " + dots + "\na = \"" + dots + "\" # \"" + dots + "\nb = '''\n" + dots +
                    "\n'''\n\"" + dots + "\" = 1\n")
              .size() == 3);
}
