#include "tools/doctor/near_misses.h"

#include <algorithm>

#include "hook/image_references.h"
#include "support/ascii.h"
#include "support/sha256.h"
#include "support/utf8.h"

namespace sorvane::doctor {

namespace {

constexpr std::string_view scheme = "sorvane:";
constexpr std::string_view prefix = ImageReferences::prefix;
constexpr std::size_t maxExcerpt = 120;

bool equalsAnyCase(char left, char right) { return ascii::toLower(left) == ascii::toLower(right); }

bool startsAnyCase(std::string_view text, std::string_view beginning) {
    return text.size() >= beginning.size() &&
           std::equal(beginning.begin(), beginning.end(), text.begin(), equalsAnyCase);
}

std::string quoted(char c) {
    const bool plain = c > ' ' && c < 0x7f;
    return plain ? std::string("\"") + c + '"' : c == ' ' ? "a space" : "another character";
}

std::string excerpt(std::string_view text) {
    text = text.substr(0, maxExcerpt);
    // It may be cut inside a character.
    return utf8::repaired(text.substr(0, text.find_first_of(" \t\r\n")));
}

// Why the hook takes no reference that begins here.
std::string reason(std::string_view text) {
    if (!startsAnyCase(text, prefix))
        return "a reference begins with " + std::string(prefix) +
               ", and this goes on in another way";
    if (!text.starts_with(prefix))
        return "capital letters: a reference begins with " + std::string(prefix) +
               ", in lower case";
    text.remove_prefix(prefix.size());
    const auto digits =
        static_cast<std::size_t>(std::ranges::find_if_not(text, ascii::isHexDigit) - text.begin());
    text.remove_prefix(digits);
    if (digits != Sha256::textLength)
        return std::to_string(digits) + " hexadecimal digits" +
               (text.empty() ? "" : " before " + quoted(text.front())) + ", and a reference has 64";
    if (!text.empty() && ascii::isLetterOrDigit(text.front()))
        return "the letter " + quoted(text.front()) + " follows the 64th digit";
    return "it begins or ends inside a character: its neighbour's accent or joiner is part of it";
}

} // namespace

std::vector<NearMiss> nearMisses(std::string_view prompt) {
    const auto references = ImageReferences::inPrompt(prompt);
    auto reference = references.begin(); // both are found in the prompt's order
    std::vector<NearMiss> found;
    for (std::string_view text = prompt;; text.remove_prefix(scheme.size())) {
        text.remove_prefix(static_cast<std::size_t>(
            std::search(text.begin(), text.end(), scheme.begin(), scheme.end(), equalsAnyCase) -
            text.begin()));
        if (text.empty() || found.size() == maxNearMisses) return found;
        if (reference != references.end() && reference->data() == text.data())
            ++reference;
        else
            found.push_back({excerpt(text), reason(text)});
    }
}

} // namespace sorvane::doctor
