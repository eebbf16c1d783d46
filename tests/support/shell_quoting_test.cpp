#include <string>

#include <doctest/doctest.h>

#include "support/helper_io.h"
#include "support/process_runner.h"

using namespace sorvane;

TEST_CASE("a text becomes one word in single quotes") {
    const struct {
        std::string text;
        std::string word;
    } rows[] = {
        {"", "''"},
        {"word", "'word'"},
        {"it's", R"('it'\''s')"},
        {"'", R"(''\''')"},
        {"''", R"(''\'''\''')"},
        {"'a'", R"(''\''a'\''')"},
        {R"(\)", R"('\')"},
        {"two words", "'two words'"},
        {"$HOME `id` \"x\" *", "'$HOME `id` \"x\" *'"},
        {"a\nb\t", "'a\nb\t'"},
        {"größe", "'größe'"},
    };
    for (const auto& row : rows) {
        CAPTURE(row.text);
        CHECK(HelperIO::shellQuoted(row.text) == row.word);
    }
}

TEST_CASE("a shell reads a quoted text as the one word that it was") {
    for (const std::string text : {"", "it's", "''''", R"(\'\\')", "$(id) ${HOME} `id` $1",
                                   "a;b&c|d>e<f#g!h~", "*?[a-z]{1,2}", "-n", "--", "  blanks  ",
                                   "line\nfeed\n", "tab\tbell\a", "größe 🙂", R"("double")"}) {
        CAPTURE(text);
        const std::string command = "printf '<%s>' " + HelperIO::shellQuoted(text);
        const ProcessResult result = runProcess("/bin/sh", {"-c", command});
        CHECK(result.status == 0);
        CHECK(result.output == "<" + text + ">");
    }
}

TEST_CASE("every single byte is quoted as it is") {
    for (int value = 1; value < 256; ++value) {
        const std::string byte(1, static_cast<char>(value));
        CAPTURE(value);
        CHECK(HelperIO::shellQuoted(byte) == (byte == "'" ? R"(''\''')" : "'" + byte + "'"));
    }
}
