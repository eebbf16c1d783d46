#include "hook/argument_reader.h"

#include <optional>
#include <string>
#include <vector>

#include <doctest/doctest.h>

namespace sorvane {

TEST_CASE("the argument reader keeps the words it was given, in their order") {
    const std::vector<std::string> words = {"--agent", "", "b", "a", "b"};
    CHECK(ArgumentReader(words).values() == words);
    CHECK(ArgumentReader({}).values().empty());
}

TEST_CASE("the argument reader answers the word after the first occurrence of an option") {
    struct Row {
        std::vector<std::string> words;
        const char* option;
        std::string value;
    };
    const std::vector<Row> rows = {
        {{"--agent", "codex"}, "--agent", "codex"},
        {{"x", "--agent", "codex", "y"}, "--agent", "codex"},
        {{"--agent", "--client-id", "x"}, "--agent", "--client-id"},
        {{"--agent", "--client-id", "x"}, "--client-id", "x"},
        {{"--agent", "a", "--agent", "b"}, "--agent", "a"},
        {{"--agent", "--agent"}, "--agent", "--agent"},
        {{"--agent", "--agent", "b"}, "--agent", "--agent"},
        {{"--agent", ""}, "--agent", ""},
        {{"--agent", "", "b"}, "--agent", ""},
        {{"", "b"}, "", "b"},
        {{"a", "", "b"}, "", "b"},
        {{"--agent", " codex "}, "--agent", " codex "},
        {{"--ägent", "ü"}, "--ägent", "ü"},
        {{"--agent", std::string("a\0b", 3)}, "--agent", std::string("a\0b", 3)},
    };
    for (const Row& row : rows) {
        CAPTURE(row.words);
        CAPTURE(row.option);
        CHECK(ArgumentReader(row.words).value(row.option) == row.value);
    }
}

TEST_CASE("the argument reader has no value for an option that is missing, joined or last") {
    const std::vector<std::vector<std::string>> lists = {
        {},
        {"--agent"},
        {"codex", "--agent"},
        {"--agent=codex"},
        {"--agent=codex", "x"},
        {"--Agent", "codex"},
        {"--AGENT", "codex"},
        {"-agent", "codex"},
        {"agent", "codex"},
        {"--agen", "codex"},
        {"--agents", "codex"},
        {" --agent", "codex"},
        {"--agent ", "codex"},
        {"", "codex"},
        {std::string("--agent\0", 8), "codex"},
        {"--agent codex"},
    };
    for (const auto& words : lists) {
        CAPTURE(words);
        CHECK(ArgumentReader(words).value("--agent") == std::nullopt);
    }
}

TEST_CASE("the argument reader contains a word only whole and in its case") {
    const ArgumentReader reader({"--agent", "codex", "", "last"});
    for (const char* word : {"--agent", "codex", "", "last"}) {
        CAPTURE(word);
        CHECK(reader.contains(word));
    }
    for (const char* word : {"--Agent", "--agen", "--agent ", "code", "codex ", "x", " ", "las"}) {
        CAPTURE(word);
        CHECK_FALSE(reader.contains(word));
    }
}

TEST_CASE("the argument reader of no words contains none") {
    const ArgumentReader reader({});
    CHECK_FALSE(reader.contains(""));
    CHECK_FALSE(reader.contains("--agent"));
}

} // namespace sorvane
