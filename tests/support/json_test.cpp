#include "support/json.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <ctime>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <doctest/doctest.h>
#include <nlohmann/json.hpp>

#include "support/utf8.h"
#include "tests/small_stack.h"

using namespace sorvane;
using namespace std::string_view_literals;
using nlohmann::json;

namespace {

constexpr std::size_t maxFailureText = 100;
constexpr std::size_t smallStack = 65'536;

std::string repeated(std::string_view text, std::size_t times) {
    std::string result;
    result.reserve(text.size() * times);
    for (std::size_t time = 0; time < times; ++time) result += text;
    return result;
}

std::string nested(std::string_view open, std::string_view core, std::string_view close,
                   std::size_t levels) {
    return repeated(open, levels) + std::string(core) + repeated(close, levels);
}

// The text of the failure, or nothing when the JSON text is taken.
std::optional<std::string> failure(std::string_view text) {
    try {
        parseJSON(text);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return std::nullopt;
}

bool isOneShortLine(const std::string& text) {
    const bool oneLine = std::none_of(text.begin(), text.end(), [](char character) {
        return static_cast<unsigned char>(character) < 0x20;
    });
    return oneLine && !text.empty() && text.size() <= maxFailureText && utf8::isValid(text);
}

json element(std::string_view text) { return parseJSON("[" + std::string(text) + "]").at(0); }

} // namespace

TEST_CASE("a JSON text is read with its values") {
    struct Row {
        std::string_view text;
        json value;
    };
    const std::vector<Row> rows = {
        {"{}", json::object()},
        {"[]", json::array()},
        {" \t\r\n[ \t\r\n] \t\r\n", json::array()},
        {"\xEF\xBB\xBF{}", json::object()},
        {"\xEF\xBB\xBF \n[]", json::array()},
        {"[null,true,false]", json::array({nullptr, true, false})},
        {"[0,-0,1,-1,10]", json::array({0, 0, 1, -1, 10})},
        {"[0.5,-0.5,1e2,1E+2,25e-1,1.25E1]", json::array({0.5, -0.5, 100.0, 100.0, 2.5, 12.5})},
        {"[9223372036854775807,18446744073709551615]",
         json::array({INT64_MAX, std::numeric_limits<std::uint64_t>::max()})},
        {R"(["\"\\\/\b\f\n\r\t"])", json::array({"\"\\/\b\f\n\r\t"})},
        {R"(["\u0041\u00e9\u00E9\u20ac"])", json::array({"A\u00E9\u00E9\u20AC"})},
        {R"(["\ud83d\ude00","\uDBFF\uDFFF"])", json::array({"\U0001F600", "\U0010FFFF"})},
        {R"(["a\u0000b"])", json::array({std::string("a\0b"sv)})},
        {"[\"\x7F\u0080\u2028\uFFFE\U0010FFFF\"]",
         json::array({"\x7F\u0080\u2028\uFFFE\U0010FFFF"})},
        {R"({"":{"":[]}})", json::object({{"", json::object({{"", json::array()}})}})},
        {R"({"a":1,"b":[{"c":2}]})",
         json::object({{"a", 1}, {"b", json::array({json::object({{"c", 2}})})}})},
    };
    for (const Row& row : rows) {
        CAPTURE(row.text);
        CHECK(parseJSON(row.text) == row.value);
    }
}

TEST_CASE("of a key that is written twice the last value counts") {
    CHECK(parseJSON(R"({"a":1,"b":2,"a":{"c":3}})") ==
          json::object({{"a", json::object({{"c", 3}})}, {"b", 2}}));
}

TEST_CASE("what is not quite JSON is rejected in one short line") {
    struct Group {
        std::string_view fault;
        std::vector<std::string_view> texts;
    };
    const std::vector<Group> groups = {
        {"less than a value",
         {"",       " ",        "\n",       "\xEF\xBB\xBF", "[",      "{",       "]",        "}",
          "[}",     "{]",       "[[]",      "[1",           "{\"a\"", "{\"a\":", "{\"a\":1", "[\"a",
          "[\"a\\", "[\"a\\\"", "[\"\\u00", "[tru",         "[-",     "[1e"}},
        {"neither an object nor an array",
         {"null", "true", "1", "1.5", "\"text\"", "\xEF\xBB\xBF\"text\""}},
        {"more than a value", {"{}x", "{} {}", "[],", "[][]", "[1]]", "{}}", "[1]\x1A", "[1]\x04"}},
        {"a NUL byte",
         {"[1]\0"sv, "[1]\0[2]"sv, "[1]\0garbage"sv, "{\"a\":1}\0"sv, "[1]\n\0"sv, "\0[1]"sv,
          "[1\0]"sv, "[\0]"sv, "[1,\0 2]"sv, "\0"sv, "[\"a\0b\"]"sv}},
        {"a byte-order mark that is broken or not one at the beginning",
         {"\xEF\xBB\xBF\xEF\xBB\xBF{}", "\xEF\xBB{}", "\xEF{}", "\xEF", "\xEF\xBB",
          " \xEF\xBB\xBF{}", "{}\xEF\xBB\xBF", "[\xEF\xBB\xBF]", "\xFE\xFF[]", "\xFF\xFE[]"}},
        {"another encoding", {"\xFE\xFF\0{\0}"sv, "\xFF\xFE{\0}\0"sv, "{\0}\0"sv}},
        {"a blank that is none",
         {"\v[]", "\f[]", "[]\v", "\u00A0[]", "\u2028[]", "[\u2009]", "\x85[]"}},
        {"a number that is none",
         {"[NaN]",  "[nan]", "[-NaN]", "[Infinity]", "[-Infinity]", "[inf]", "[01]",  "[-01]",
          "[00]",   "[1.]",  "[.5]",   "[-.5]",      "[+1]",        "[--1]", "[1e+]", "[1.e1]",
          "[0x10]", "[1 2]", "[- 1]",  "[1_000]",    "[1e1.5]",     "[1f]",  "[1e]",  "[1,5"}},
        {"a number beyond all measure", {"[1e400]", "[-1e400]"}},
        {"a word that is none",
         {"[True]", "[TRUE]", "[nul]", "[nulll]", "[None]", "[undefined]", "[true false]"}},
        {"a text that is none",
         {"['a']", "[a]", "[\"\\a\"]", "[\"\\x41\"]", "[\"\\'\"]", "[\"\\0\"]", "[\"\\U0041\"]",
          "[\"\\u12\"]", "[\"\\u12G4\"]", "[\"\\u+123\"]", "[\"\\u 123\"]", "[\"a\"b\"]"}},
        {"half a surrogate pair",
         {R"(["\ud800"])", R"(["\udc00"])", R"(["\udfff"])", R"(["\ud800x"])", R"(["\ud800\n"])",
          R"(["\ud800\u0041"])", R"(["\ud800\ud800"])", R"(["\udc00\ud800"])",
          R"(["\udc00\udc00"])", R"(["\ud800\ue000"])", R"({"\ud800":1})"}},
        {"not UTF-8",
         {"[\"\x80\"]", "[\"\xBF\"]", "[\"\xC0\x80\"]", "[\"\xC1\xBF\"]", "[\"\xC3\"]",
          "[\"\xE0\x80\x80\"]", "[\"\xE0\x9F\xBF\"]", "[\"\xE2\x82\"]", "[\"\xED\xA0\x80\"]",
          "[\"\xED\xBF\xBF\"]", "[\"\xF0\x80\x80\x80\"]", "[\"\xF0\x8F\xBF\xBF\"]",
          "[\"\xF4\x90\x80\x80\"]", "[\"\xF8\x88\x80\x80\x80\"]", "[\"\xFF\"]", "{\"\xFF\":1}",
          "[\xC3\xA9]", "\xFF"}},
        {"a separator out of place",
         {"[,]", "[1,]", "[,1]", "[1,,2]", "{,}", "{\"a\":1,}", "{,\"a\":1}", "{\"a\" 1}",
          "{\"a\":}", "{\"a\"}", "{\"a\":1 \"b\":2}", "{\"a\":1;\"b\":2}", "{\"a\"=1}", "[1;2]"}},
        {"a key that is no text", {"{a:1}", "{1:2}", "{null:1}", "{[]:1}", "{{}:1}"}},
        {"a comment", {"[] // end", "/* */ []", "[] # end", "[/**/]"}},
    };
    for (const Group& group : groups) {
        CAPTURE(group.fault);
        for (const std::string_view text : group.texts) {
            CAPTURE(json(utf8::repaired(text)).dump());
            const auto told = failure(text);
            CHECK(told);
            CHECK(isOneShortLine(told.value_or("")));
        }
    }
}

TEST_CASE("nothing behind a text is read, wherever it breaks off") {
    const std::string_view whole =
        R"({"a": [true, false, null, -12.5e+3, "\u00e9\ud83d\ude00 \n\"\\ x"], "b": {"c": []}} )";
    REQUIRE(failure(whole) == std::nullopt);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        CAPTURE(length);
        const std::string alone(whole.substr(0, length)); // what follows it is a NUL
        CHECK(failure(whole.substr(0, length)) == failure(alone));
    }
}

TEST_CASE("a control character within a text must be escaped") {
    for (char character = 0; character < 0x20; ++character) {
        CAPTURE(static_cast<int>(character));
        CHECK(failure("[\"" + std::string(1, character) + "\"]"));
        CHECK(failure("{\"" + std::string(1, character) + "\":1}"));
    }
}

TEST_CASE("512 levels are read and one more is rejected") {
    struct Row {
        std::string_view open, core, close;
        std::size_t levelsEach, levelsOfCore;
    };
    const std::vector<Row> rows = {
        {"[", "", "]", 1, 0},
        {"[1,", "2", ",3]", 1, 0},
        {"[[],", "[]", "]", 1, 1},
        {R"({"a":)", "{}", "}", 1, 1},
        {R"({"a":[],"b":)", "{}", R"(,"c":{}})", 1, 1},
        {R"([{"a":)", "null", "}]", 2, 0},
        {R"({"a":[)", "", "]}", 2, 0},
        {R"(["]]]}}}\"]",)", "[]", R"(,"[{"])", 1, 1},
    };
    for (const Row& row : rows) {
        CAPTURE(row.open);
        const std::size_t times = (512 - row.levelsOfCore) / row.levelsEach;
        const std::string deepest = nested(row.open, row.core, row.close, times);
        CHECK_FALSE(failure(deepest));
        const auto told = failure("[" + deepest + "]");
        REQUIRE(told);
        CHECK(isOneShortLine(*told));
        CHECK(failure(R"({"a":)" + deepest + "}"));
        CHECK(failure("\xEF\xBB\xBF[" + deepest + "]"));
    }
}

TEST_CASE("only levels count, not brackets") {
    CHECK_FALSE(failure("[" + repeated("[],", 1000) + "[]]"));
    CHECK_FALSE(failure("[\"" + repeated("[{", 1000) + "\"]"));
    CHECK_FALSE(failure(R"(["\")" + repeated("[", 1000) + "\"]"));
    CHECK_FALSE(failure(R"(["\\",")" + repeated("[", 1000) + "\"]"));
    CHECK_FALSE(failure("{\"" + repeated("{", 1000) + R"(":1})"));
}

TEST_CASE("a text that is nested beyond measure is rejected, whole or broken off") {
    constexpr std::size_t levels = 1'000'000;
    CHECK(failure(nested("[", "", "]", levels)));
    CHECK(failure(nested(R"({"a":)", "1", "}", levels)));
    CHECK(failure(repeated("[", levels)));
    CHECK(failure(repeated(R"([{"a":)", levels)));
}

TEST_CASE("the failure's text stays short however long the broken token is") {
    std::vector<std::string> texts = {"[\"" + repeated("a", 10'000'000) + "\n\"]"};
    for (const std::string_view piece : {"\u00E9", "\U0001F600", "\\n", "\\u0001"}) {
        texts.push_back("[\"" + repeated(piece, 100'000));
        texts.push_back("[\"a" + repeated(piece, 100'000));
        texts.push_back("{\"" + repeated(piece, 100'000) + "\xFF\":1}");
    }
    texts.push_back("[" + repeated("1", 100'000) + "x]");
    texts.push_back("[1" + repeated("0", 100'000) + "]");
    for (const std::string& text : texts) {
        CAPTURE(text.substr(0, 20));
        const auto told = failure(text);
        REQUIRE(told);
        CHECK(isOneShortLine(*told));
    }
}

TEST_CASE("the failure's text tells a number from another word") {
    const auto saysNumber = [](std::string_view text) {
        return failure(text).value_or("").find("number") != std::string::npos;
    };
    for (const std::string_view text :
         {"[1e400]", "[-1e400]", "[01]", "[-]", "[1.]", "{\"a\":1x"}) {
        CAPTURE(text);
        CHECK(saysNumber(text));
    }
    for (const std::string_view text : {"[]]", "[nul]", "[True]", "[]1", "[", "[,", "{\"a\":}"}) {
        CAPTURE(text);
        CHECK_FALSE(saysNumber(text));
    }
}

TEST_CASE("512 levels are read, and given back, on a small stack") {
    const std::vector<std::string> texts = {nested("[", "", "]", 512),
                                            nested(R"({"a":)", "{}", "}", 511),
                                            nested(R"({"a":[1,)", "[]", R"(,{"z":2}]})", 255)};
    int read = 0;
    test::onStack(smallStack, [&] {
        for (const std::string& text : texts) read += parseJSON(text).is_structured() ? 1 : 0;
    });
    CHECK(read == 3);
}

TEST_CASE("512 levels are written on a small stack") {
    const std::string text = nested(R"({"a":[1,)", "[]", R"(,{"z":2}]})", 255);
    const json value = parseJSON(text);
    std::string written;
    test::onStack(smallStack, [&] { written = jsonText(value); });
    CHECK(written == text);
}

TEST_CASE("the failure's text repeats nothing of the input") {
    for (const std::string_view text :
         {"[\"secret", "[\"secret\n\"]", "[\"secret\\x\"]", "[\"secret\xFF\"]", "[secret]",
          "secret", "\"secret\"", "{\"secret\"}", "{\"secret\":}", "{\"a\":\"secret",
          "[\"secret\"}", "[\"secret\" \"secret\"]", "[] secret", "[\"secret\\ud800\"]",
          "[\"\\u12secret\"]", "[1secret]", "[\"; last read: secret\n"}) {
        CAPTURE(text);
        const auto told = failure(text);
        REQUIRE(told);
        CHECK(told->find("secret") == std::string::npos);
    }
    CHECK(failure("[1e400]").value_or("").find("1e400") == std::string::npos);
}

TEST_CASE("reading takes no longer for each member the more there are") {
    const auto processorTime = [](std::size_t members) {
        const std::string text = "[" + repeated(R"({"a":1},)", members) + "{}]";
        const std::clock_t before = std::clock();
        CHECK(parseJSON(text).size() == members + 1);
        return static_cast<double>(std::clock() - before);
    };
    // Sixteen times as many take sixteen times as long; were each looked at again with every
    // other, 256 times.
    const double few = processorTime(5'000);
    CHECK(processorTime(80'000) < 100 * few + 0.1 * CLOCKS_PER_SEC);
}

TEST_CASE("a value is written compactly with its slashes escaped and nothing else changed") {
    struct Row {
        json value;
        std::string_view text;
    };
    const std::vector<Row> rows = {
        {json::object(), "{}"},
        {json::array(), "[]"},
        {nullptr, "null"},
        {true, "true"},
        {false, "false"},
        {0, "0"},
        {-1, "-1"},
        {INT64_MIN, "-9223372036854775808"},
        {std::numeric_limits<std::uint64_t>::max(), "18446744073709551615"},
        {0.1, "0.1"},
        {-2.5, "-2.5"},
        {"", R"("")"},
        {"/", R"("\/")"},
        {"//", R"("\/\/")"},
        {"a/b/", R"("a\/b\/")"},
        {"</script>", R"("<\/script>")"},
        {"\\/", R"("\\\/")"},
        {"\"\\", R"("\"\\")"},
        {"\b\f\n\r\t", R"("\b\f\n\r\t")"},
        {std::string("\0\x01\x1F"sv), R"("\u0000\u0001\u001f")"},
        {"\x7F", "\"\x7F\""},
        {"\u00E9\u2028\U0001F600", "\"\u00E9\u2028\U0001F600\""},
        {"<>&'", R"("<>&'")"},
        {json::object({{"a/b", "c/d"}}), R"({"a\/b":"c\/d"})"},
        {json::object({{"\"\n", 1}}), R"({"\"\n":1})"},
        {json::array({1, json::array({2, json::array()}), json::object({{"k", nullptr}})}),
         R"([1,[2,[]],{"k":null}])"},
        {json::object({{"a", json::array({"/", json::object({{"/", "/"}})})}, {"b", true}}),
         R"({"a":["\/",{"\/":"\/"}],"b":true})"},
    };
    for (const Row& row : rows) {
        CAPTURE(row.text);
        CHECK(jsonText(row.value) == row.text);
    }
}

TEST_CASE("what was written is read back the same") {
    const json value = json::object({{"slash/key", "slash/text"},
                                     {"numbers", json::array({0.1, 1e300, 5e-324, -7, UINT64_MAX})},
                                     {"texts", json::array({"\\/\"\n\u2028", "\U0010FFFF", ""})},
                                     {"deep", json::array({json::object({{"", json::array()}})})}});
    CHECK(parseJSON(jsonText(value)) == value);
    CHECK(jsonText(parseJSON(jsonText(value))) == jsonText(value));
}

TEST_CASE("writing appends to what stands there") {
    std::string text = "before ";
    appendJSON(text, json::array({1}));
    appendJSON(text, json::object({{"a", 2}}));
    CHECK(text == R"(before [1]{"a":2})");
}

TEST_CASE("a value without a JSON form is rejected, however deep it stands") {
    struct Row {
        std::string_view name;
        json value;
    };
    const std::vector<Row> rows = {
        {"not a number", std::nan("")},
        {"infinite", HUGE_VAL},
        {"negative infinite", -HUGE_VAL},
        {"not UTF-8", "a\xFFz"},
        {"overlong", "\xC0\xAF"},
        {"surrogate", "\xED\xA0\x80"},
        {"broken off", "a\xC3"},
        {"raw bytes", json::binary({1, 2, 3})},
        {"no raw bytes", json::binary({})},
        {"discarded", json(json::value_t::discarded)},
    };
    for (const Row& row : rows) {
        CAPTURE(row.name);
        CHECK_THROWS(jsonText(row.value));
        CHECK_THROWS(jsonText(json::array({1, row.value})));
        CHECK_THROWS(jsonText(json::object({{"a", json::array({row.value})}})));
    }
    CHECK_THROWS(jsonText(json::object({{"a\xFF", 1}})));
    CHECK_THROWS(jsonText(json::array({json::object({{"\xED\xA0\x80", 1}})})));
}

TEST_CASE("a number without fraction is an integer, however it is written") {
    struct Row {
        std::string_view text;
        std::optional<std::int64_t> value;
    };
    const std::vector<Row> rows = {
        {"1024", 1024},
        {"1024.0", 1024},
        {"1e3", 1000},
        {"1.5e1", 15},
        {"1000e-3", 1},
        {"-1024.000", -1024},
        {"0", 0},
        {"-0", 0},
        {"-0.0", 0},
        {"0e9", 0},
        {"9223372036854775807", INT64_MAX},
        {"-9223372036854775808", INT64_MIN},
        {"-9223372036854775808.0", INT64_MIN},
        {"-9223372036854775.808e3", INT64_MIN},
        {"9.2e18", 9'200'000'000'000'000'000},
        {"9223372036854774784.0", 9223372036854774784},
        {"-9.2e18", -9'200'000'000'000'000'000},
        {"9223372036854775808", std::nullopt},
        {"9223372036854775808.0", std::nullopt},
        {"18446744073709551615", std::nullopt},
        {"18446744073709551616", std::nullopt},
        {"-9223372036854777856", std::nullopt},
        {"9.3e18", std::nullopt},
        {"-9.3e18", std::nullopt},
        {"1e300", std::nullopt},
        {"-1e300", std::nullopt},
        {"1024.5", std::nullopt},
        {"-0.5", std::nullopt},
        {"1e-1", std::nullopt},
        {"1e-300", std::nullopt},
        {"0.9999999999999999", std::nullopt},
        {"true", std::nullopt},
        {"false", std::nullopt},
        {"null", std::nullopt},
        {R"("1024")", std::nullopt},
        {R"("")", std::nullopt},
        {"[1024]", std::nullopt},
        {"[]", std::nullopt},
        {R"({"a":1024})", std::nullopt},
    };
    for (const Row& row : rows) {
        CAPTURE(row.text);
        CHECK(integerValue(element(row.text)) == row.value);
        const json object = parseJSON(R"({"n":)" + std::string(row.text) + "}");
        CHECK(integerMember(object, "n") == row.value);
    }
    CHECK(integerValue(std::nan("")) == std::nullopt);
    CHECK(integerValue(HUGE_VAL) == std::nullopt);
    CHECK(integerValue(-HUGE_VAL) == std::nullopt);
}

TEST_CASE("a member of another kind counts as absent") {
    const json object = parseJSON(
        R"({"text":"a\u0000b","empty":"","number":1,"flag":true,"nothing":null,"list":["a"]})");
    CHECK(textMember(object, "text") == "a\0b"sv);
    CHECK(textMember(object, "empty") == "");
    for (const std::string_view key : {"number", "flag", "nothing", "list", "missing", "Text", ""})
        CHECK_FALSE(textMember(object, key));
    CHECK(integerMember(object, "number") == 1);
    for (const std::string_view key : {"text", "empty", "flag", "nothing", "list", "missing"})
        CHECK_FALSE(integerMember(object, key));
    for (const std::string_view key : {"text", "number", "flag", "nothing", "list"})
        CHECK(anyMember(object, key) == &object.at(std::string(key)));
    for (const std::string_view key : {"missing", "Text", "tex", "text ", ""})
        CHECK(anyMember(object, key) == nullptr);
}

TEST_CASE("the first of two members that is of the kind counts") {
    const json object = parseJSON(
        R"({"text":"a","other":"b","empty":"","number":1,"next":2,"half":1.5,"nothing":null})");
    CHECK(textMember(object, "text", "other") == "a");
    CHECK(textMember(object, "empty", "other") == "");
    CHECK(textMember(object, "missing", "other") == "b");
    CHECK(textMember(object, "number", "other") == "b");
    CHECK(textMember(object, "nothing", "other") == "b");
    CHECK_FALSE(textMember(object, "missing", "number"));
    CHECK(integerMember(object, "number", "next") == 1);
    CHECK(integerMember(object, "missing", "next") == 2);
    CHECK(integerMember(object, "half", "next") == 2);
    CHECK(integerMember(object, "text", "next") == 2);
    CHECK_FALSE(integerMember(object, "half", "text"));
    CHECK_FALSE(textMember(json::array({"text"}), "text", "other"));
    CHECK_FALSE(integerMember(json(1), "number", "next"));
}

TEST_CASE("what is not an object has no members") {
    const std::vector<json> values = {nullptr,
                                      true,
                                      1,
                                      1.5,
                                      "text",
                                      json::array({"text"}),
                                      json::array({json::object({{"text", "a"}})})};
    for (const json& value : values) {
        CAPTURE(value.dump());
        CHECK(anyMember(value, "text") == nullptr);
        CHECK_FALSE(textMember(value, "text"));
        CHECK_FALSE(integerMember(value, "text"));
        CHECK(anyMember(value, "") == nullptr);
        CHECK(anyMember(value, "0") == nullptr);
    }
}
