#include "tools/doctor/shell_words.h"

#include <string>
#include <vector>

#include <doctest/doctest.h>

using namespace sorvane::doctor;

namespace {

// The commands of a line, with a space between words and a bar between commands; an unknown word
// has a question mark after it.
std::string split(std::string_view line, std::string_view home = "/home/ada") {
    const auto commands = splitCommandLine(line, home);
    if (!commands) return "broken";
    std::string text;
    for (const ShellWords& words : *commands) {
        if (!text.empty()) text += '|';
        for (const ShellWord& word : words) text += "[" + word.text + "]" + (word.known ? "" : "?");
    }
    return text;
}

} // namespace

TEST_CASE("a command line is split as a POSIX shell splits it") {
    struct Row {
        const char* line;
        const char* words;
    };
    const std::vector<Row> rows{
        {"", ""},
        {"a b\tc", "[a][b][c]"},
        {"  a  ", "[a]"},
        {"'a b' \"c d\" e\\ f", "[a b][c d][e f]"},
        {"a'b'\"c\"d", "[abcd]"},
        {"'' \"\"", "[][]"},
        {"'it'\\''s'", "[it's]"},
        {"\"a\\\"b\\$c\\d\"", "[a\"b$c\\d]"},
        {"a\\\nb", "[ab]"},
        {"a | b || c && d; e & (f)", "[a]|[b]|[c]|[d]|[e]|[f]"},
        {"a;b\nc", "[a]|[b]|[c]"},
        {"a 2>/dev/null >>log <in b", "[a][b]"},
        {"a >'my log' b 2>&1 c", "[a][b][c]"},
        {"a2>x b", "[a2][b]"},
        {"a # b", "[a]"},
        {"a#b", "[a#b]"},
        {"~/x ~ a~ '~'", "[/home/ada/x][/home/ada][a~][~]"},
        {"~bob/x", "[~bob/x]?"},
        {"$HOME/x \"${HOME}/y\" '$HOME'", "[/home/ada/x][/home/ada/y][$HOME]"},
        {"$X/a ${Y} \"$Z\" $(a b) `c d` $1 $", "[$X/a]?[${Y}]?[$Z]?[$(a b)]?[`c d`]?[$1]?[$]"},
        {"*.png a?b [c]", "[*.png]?[a?b]?[[c]]?"},
        {"'*.png'", "[*.png]"},
        {"a \\", "[a][\\]"},
    };
    for (const Row& row : rows) {
        CAPTURE(row.line);
        CHECK(split(row.line) == row.words);
    }
}

TEST_CASE("a line that breaks off inside quotes or an expansion cannot be split") {
    for (const char* line : {"'a", "\"a", "a `b", "${x", "$(a (b)", "\"$(a\""}) {
        CAPTURE(line);
        CHECK(split(line) == "broken");
    }
}

TEST_CASE("a home with a space is split where it is not quoted") {
    CHECK(split("$HOME/x \"$HOME/y\" ~/z", "/home/ada l") ==
          "[/home/ada][l/x][/home/ada l/y][/home/ada l/z]");
}
