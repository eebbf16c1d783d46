// The small matcher against a general one: the same references in generated prompts as a real
// regular-expression engine finds, less those that a walk over the whole prompt, grapheme by
// grapheme, sees begin or end inside one.

#include <cstdint>
#include <random>
#include <regex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <doctest/doctest.h>
#include <utf8proc.h>

#include "hook/image_references.h"

namespace sorvane {

namespace {

constexpr int prompts = 40'000;

// Whether a grapheme begins at each byte of a text, and at its end.
std::vector<bool> boundaries(std::string_view text) {
    std::vector<bool> begins(text.size() + 1, false);
    const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
    utf8proc_int32_t before = 0;
    utf8proc_int32_t state = 0;
    for (std::size_t at = 0; at < text.size();) {
        utf8proc_int32_t scalar = 0;
        const auto length =
            utf8proc_iterate(bytes + at, static_cast<utf8proc_ssize_t>(text.size() - at), &scalar);
        if (length <= 0) throw std::runtime_error("a prompt that is not UTF-8");
        begins[at] = at == 0 || utf8proc_grapheme_break_stateful(before, scalar, &state);
        before = scalar;
        at += static_cast<std::size_t>(length);
    }
    begins[text.size()] = true;
    return begins;
}

struct Expected {
    std::vector<std::string> references;
    int insideGraphemes = 0;
};

Expected expected(const std::string& prompt) {
    static const std::regex pattern("sorvane://image/[0-9a-fA-F]{64}(?![0-9a-zA-Z])",
                                    std::regex::ECMAScript | std::regex::optimize);
    Expected result;
    const auto begins = boundaries(prompt);
    for (std::sregex_iterator match(prompt.begin(), prompt.end(), pattern), end; match != end;
         ++match) {
        const auto start = static_cast<std::size_t>(match->position());
        if (begins[start] && begins[start + static_cast<std::size_t>(match->length())])
            result.references.push_back(match->str());
        else
            ++result.insideGraphemes;
    }
    return result;
}

/// Makes prompts of pieces that are references, nearly are, or stand in their way.
class PromptMaker {
  public:
    std::string prompt() {
        std::string text;
        for (std::uint32_t pieces = below(9); pieces > 0; --pieces) text += piece();
        return text;
    }

  private:
    std::uint32_t below(std::uint32_t limit) {
        return static_cast<std::uint32_t>(random_() % limit);
    }

    template<class List>
    std::string oneOf(const List& list) {
        return std::string(list[below(static_cast<std::uint32_t>(std::size(list)))]);
    }

    std::string digits() {
        static constexpr std::string_view alphabets[] = {"0123456789abcdef", "0123456789ABCDEF",
                                                         "0123456789abcdefABCDEF", "fF"};
        const std::string_view alphabet = alphabets[below(4)];
        // Mostly the right number, otherwise one or two beside it.
        std::uint32_t length = below(3) != 0 ? 64 : 62 + below(5);
        std::string text;
        for (; length > 0; --length)
            text += alphabet[below(static_cast<std::uint32_t>(alphabet.size()))];
        if (below(12) == 0) text[below(static_cast<std::uint32_t>(text.size()))] = 'g';
        return text;
    }

    std::string piece() {
        static const std::vector<std::string> neighbours = {"g",
                                                            "G",
                                                            "Z",
                                                            "z",
                                                            "_",
                                                            ".",
                                                            "/",
                                                            "-",
                                                            "\"",
                                                            "'",
                                                            " ",
                                                            "\n",
                                                            "\r\n",
                                                            "\t",
                                                            "0",
                                                            "f",
                                                            "s",
                                                            ":",
                                                            std::string(1, '\0'),
                                                            "\x7f",
                                                            "\u00e4",
                                                            "\u00ad",
                                                            "\u0301",
                                                            "\u0308\u0301",
                                                            "\u200d",
                                                            "\u200c",
                                                            "\ufe0f",
                                                            "\u20e3",
                                                            "\u0903",
                                                            "\u0e33",
                                                            "\u093f",
                                                            "\u0600",
                                                            "\u0605",
                                                            "\u06dd",
                                                            "\u070f",
                                                            "\u08e2",
                                                            "\U000110BD",
                                                            "\U0001F600",
                                                            "\U0001F468",
                                                            "\U0001F3FB",
                                                            "\U0001F1E9",
                                                            "\U000E0061",
                                                            "\u1100",
                                                            "\u1161",
                                                            "\u11a8",
                                                            "\uac00",
                                                            "\u0915\u094d",
                                                            "\u2028",
                                                            "\u4e2d",
                                                            "\uff11",
                                                            "\ufeff",
                                                            "\U0010FFFF"};
        static constexpr std::string_view broken[] = {
            "sorvane://image",  "sorvane:/image/",   "sorvane://Image/",
            "SORVANE://image/", "sorvane://image//", "orvane://image/",
            "sorvane",          "sorvane://imag/",   "image/",
            "sorvane://images/"};
        static const std::string prefix = "sorvane://image/";
        switch (below(10)) {
        case 0:
            return prefix;
        case 1:
            return digits();
        case 2:
            return oneOf(broken) + digits();
        case 3:
        case 4:
        case 5:
            return prefix + digits();
        case 6:
            return prefix + digits() + oneOf(neighbours);
        default:
            return oneOf(neighbours);
        }
    }

    std::mt19937 random_{20'240'613};
};

} // namespace

TEST_CASE("references in generated prompts are those that a regular-expression engine finds") {
    PromptMaker maker;
    std::size_t found = 0;
    int insideGraphemes = 0;
    for (int number = 0; number < prompts; ++number) {
        const std::string prompt = maker.prompt();
        const Expected right = expected(prompt);
        const auto views = ImageReferences::inPrompt(prompt);
        CAPTURE(number);
        CAPTURE(prompt);
        REQUIRE(std::vector<std::string>(views.begin(), views.end()) == right.references);
        for (const auto view : views) REQUIRE(ImageReferences::assetHash(view));
        found += views.size();
        insideGraphemes += right.insideGraphemes;
    }
    // The prompts are of some use only as long as they hold enough of both.
    CHECK(found > prompts / 4);
    CHECK(insideGraphemes > prompts / 40);
}

} // namespace sorvane
