#include "hook/image_references.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <doctest/doctest.h>

namespace sorvane {

namespace {

using ImageReferences::assetHash;
using ImageReferences::inPrompt;

const std::string prefix = "sorvane://image/";
const std::string hash = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef";
const std::string upperHash = "0123456789ABCDEF0123456789ABCDEF0123456789ABCDEF0123456789ABCDEF";
const std::string mixedHash = "0123456789AbCdEf0123456789aBcDeF0123456789ABCDEF0123456789abcdef";
const std::string reference = prefix + hash;

std::vector<std::string> found(std::string_view prompt) {
    const auto references = inPrompt(prompt);
    return {references.begin(), references.end()};
}

using References = std::vector<std::string>;

std::string replaced(std::string text, std::size_t at, std::string_view by) {
    return text.replace(at, 1, by);
}

} // namespace

TEST_CASE("image references begin with the scheme, the host and a slash") {
    CHECK(ImageReferences::prefix == prefix);
}

TEST_CASE("image references are found whatever stands around them, unless it belongs to them") {
    for (const char* before : {"", " ", "x", "9", "\n", "(", "/", "sorvane://image/", "sorvane:",
                               "s", "\u00e4", "e\u0301", "\U0001F600", "\u200d", "\u0301", "\u0903",
                               "\u0915\u094d", "\u1100", "\U0001F1E9\U0001F1EA"})
        for (const char* after :
             {"",     " ",      "_",      ".",      ".png",   "/",          "/x",
              "?a=b", "#a",     ")",      "]",      "\"",     "'",          "\n",
              "\r\n", "-",      ":",      "@",      "[",      "`",          "{",
              "\x7f", "\u00e4", "\uff41", "\u0600", "\u4e2d", "\U0001F600", "sorvane://image/"}) {
            if (std::string_view(after) == "sorvane://image/") continue;
            const std::string prompt = before + reference + after;
            CAPTURE(prompt);
            CHECK(found(prompt) == References{reference});
        }
}

TEST_CASE("image references are found between NUL bytes") {
    const std::string nul(1, '\0');
    CHECK(found(nul + reference + nul + "a") == References{reference});
}

TEST_CASE("image references are returned as they are written") {
    for (const std::string& digits : {hash, upperHash, mixedHash, std::string(64, '0'),
                                      std::string(64, 'f'), std::string(64, 'F')}) {
        CAPTURE(digits);
        CHECK(found("see " + prefix + digits + ".") == References{prefix + digits});
    }
}

TEST_CASE("image references are listed in the order of their appearance, repeated ones repeated") {
    const std::string other = prefix + upperHash;
    CHECK(found(reference + " " + other + "\n" + reference + " " + reference) ==
          References{reference, other, reference, reference});
    CHECK(found(reference + "/" + other + "/" + reference) ==
          References{reference, other, reference});
}

TEST_CASE("image references are views into the prompt") {
    const std::string prompt = "ab " + reference + " " + reference;
    const auto references = inPrompt(prompt);
    REQUIRE(references.size() == 2);
    CHECK(references[0].data() == prompt.data() + 3);
    CHECK(references[1].data() == prompt.data() + 3 + reference.size() + 1);
}

TEST_CASE("image references are found after the beginning of another") {
    for (const std::string& broken :
         {prefix, prefix + hash.substr(1), prefix + hash + "0", prefix + hash + "z ",
          std::string("sorvane://image"), prefix + "x"}) {
        const std::string prompt = broken + reference;
        CAPTURE(prompt);
        CHECK(found(prompt) == References{reference});
    }
}

TEST_CASE("image references are followed by no letter or digit, another reference included") {
    for (char next = 1; next < 127; ++next) {
        const bool ends = std::string_view("0123456789abcdefghijklmnopqrstuvwxyz"
                                           "ABCDEFGHIJKLMNOPQRSTUVWXYZ")
                              .find(next) == std::string_view::npos;
        CAPTURE(static_cast<int>(next));
        CHECK(found(reference + next).size() == (ends ? 1 : 0));
    }
    CHECK(found(reference + reference) == References{reference});
    CHECK(found(reference + reference + reference) == References{reference});
}

TEST_CASE("image references of a text that is nowhere are none") {
    CHECK(inPrompt(std::string_view()).empty());
}

TEST_CASE("image references are none when anything is missing, changed or too much") {
    std::vector<std::string> prompts = {
        "",
        "s",
        prefix,
        hash,
        "sorvane:/" + hash,
        prefix + hash.substr(1),
        prefix + hash + "0",
        prefix + hash + "g",
        prefix + hash + "Z",
        prefix + hash + hash,
        "SORVANE://IMAGE/" + hash,
        "Sorvane://image/" + hash,
        "sorvane://Image/" + hash,
        "sorvane://images/" + hash,
        "sorvane://image//" + hash,
        "sorvane:/image/" + hash,
        "sorvane://image" + hash,
        "sorvane://image/ " + hash,
        "orvane://image/" + hash,
        "sorvane://image\\/" + hash,
        "sorvane%3A//image/" + hash,
    };
    for (std::size_t at = 0; at < prefix.size(); ++at) {
        prompts.push_back(replaced(reference, at, ""));
        prompts.push_back(replaced(reference, at, "?"));
    }
    for (const std::size_t at : {16U, 17U, 40U, 78U, 79U})
        for (const char* wrong : {"g", "G", "z", "/", ":", "@", "`", " ", "\n", "-", "_",
                                  "\xd9\xa3", "\uff11", "\u0430"})
            prompts.push_back(replaced(reference, at, wrong));
    for (const std::string& prompt : prompts) {
        CAPTURE(prompt);
        CHECK(found(prompt).empty());
    }
    for (std::size_t length = 0; length < reference.size(); ++length)
        CHECK(found(reference.substr(0, length)).empty());
}

TEST_CASE("image references are none when a grapheme reaches into them or out of them") {
    struct Row {
        const char* before;
        const char* after;
    };
    for (const Row row :
         {Row{"", "\u0301"}, Row{"", "\u200d"}, Row{"", "\ufe0f"}, Row{"", "\u20e3"},
          Row{"", "\u200c"}, Row{"", "\u0903"}, Row{"", "\U0001F3FB"}, Row{"", "\U000E0100"},
          Row{"\u0600", ""}, Row{"\U000110BD", ""}, Row{"x\u0600", " "}, Row{"\u06dd", "."},
          Row{"", "\u0301."}, Row{"\u0600", "\u0301"}}) {
        const std::string prompt = row.before + reference + row.after;
        CAPTURE(prompt);
        CHECK(found(prompt).empty());
        CHECK(found(prompt + " " + reference) == References{reference});
    }
    CHECK(found("\u0600 " + reference + " \u0301") == References{reference});
    CHECK(found("\u0600\n" + reference) == References{reference});
}

TEST_CASE("image references are found in time in a long prompt of near misses") {
    std::string prompt;
    while (prompt.size() < 2'000'000) prompt += prefix + hash + "0";
    CHECK(found(prompt).empty());
    CHECK(found(prompt + reference) == References{reference});
    CHECK(found(std::string(2'000'000, 's')).empty());
}

TEST_CASE("an asset digest is in lower case however the reference is written") {
    for (const std::string& digits : {hash, upperHash, mixedHash}) {
        CAPTURE(digits);
        CHECK(assetHash(prefix + digits) == hash);
    }
    CHECK(assetHash(prefix + std::string(64, 'F')) == std::string(64, 'f'));
    CHECK(assetHash(prefix + std::string(64, '9')) == std::string(64, '9'));
}

TEST_CASE("an asset digest is in every reference that is found") {
    for (const std::string& one : found(reference + " " + prefix + upperHash + ".png"))
        CHECK(assetHash(one) == hash);
}

TEST_CASE("an asset digest is absent from everything else") {
    const std::vector<std::string> texts = {
        "",
        prefix,
        hash,
        "SORVANE://IMAGE/" + hash,
        "Sorvane://image/" + hash,
        " " + reference,
        "x" + reference,
        reference + ".png",
        reference + "\n",
        reference + "\r\n",
        reference + " ",
        reference + "?x",
        reference + "0",
        reference + "g",
        reference + std::string(1, '\0'),
        reference + "\u0301",
        "\u0600" + reference,
        reference.substr(0, reference.size() - 1),
        replaced(reference, 79, "g"),
        replaced(reference, 79, "G"),
        replaced(reference, 16, " "),
        replaced(reference, 16, "/"),
        replaced(reference, 16, "\uff11"),
        replaced(reference, 40, "\u212a"),
        reference.substr(0, reference.size() - 2) + "\u00e4",
        prefix + prefix + hash,
        reference + reference,
    };
    for (const std::string& text : texts) {
        CAPTURE(text);
        CHECK(assetHash(text) == std::nullopt);
    }
}

} // namespace sorvane
