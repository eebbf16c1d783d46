#include "hook/image_references.h"

#include <algorithm>
#include <cstring>

#include "support/ascii.h"
#include "support/graphemes.h"
#include "support/sha256.h"
#include "support/utf8.h"

namespace sorvane::ImageReferences {

namespace {

constexpr std::size_t referenceLength = prefix.size() + Sha256::textLength;

// Whether the text right after a prefix is that of a reference.
bool hasDigest(std::string_view text) {
    const std::string_view digest = text.substr(0, Sha256::textLength);
    return digest.size() == Sha256::textLength &&
           std::all_of(digest.begin(), digest.end(), ascii::isHexDigit) &&
           (text.size() == Sha256::textLength || !ascii::isLetterOrDigit(text[Sha256::textLength]));
}

// std::string_view::find stops at every `s`, four characters in a hundred; memmem takes a quarter
// of the time. It takes no null pointer, and that is what a view of nothing may be.
std::size_t findPrefix(std::string_view text, std::size_t from) {
    const std::string_view rest = text.substr(from);
    if (rest.empty()) return std::string_view::npos;
    const void* found = ::memmem(rest.data(), rest.size(), prefix.data(), prefix.size());
    if (found == nullptr) return std::string_view::npos;
    return static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
}

char32_t lastScalar(std::string_view text) {
    std::size_t start = text.size() - 1;
    while (start > 0 && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80) --start;
    return utf8::step(text.substr(start)).scalar;
}

// Whether the piece of the prompt begins and ends where graphemes do.
bool isWholeGraphemes(std::string_view prompt, std::size_t start, std::size_t length) {
    const std::string_view before = prompt.substr(0, start);
    const std::string_view after = prompt.substr(start + length);
    if (!before.empty() &&
        !graphemes::isBoundary(lastScalar(before), static_cast<unsigned char>(prompt[start])))
        return false;
    return after.empty() ||
           graphemes::isBoundary(static_cast<unsigned char>(prompt[start + length - 1]),
                                 utf8::step(after).scalar);
}

} // namespace

std::vector<std::string_view> inPrompt(std::string_view prompt) {
    std::vector<std::string_view> references;
    std::size_t start = findPrefix(prompt, 0);
    while (start != std::string_view::npos) {
        // No prefix begins inside another or inside a digest, so nothing is missed after a failure.
        std::size_t next = start + prefix.size();
        if (hasDigest(prompt.substr(next))) {
            next += Sha256::textLength;
            if (isWholeGraphemes(prompt, start, referenceLength))
                references.push_back(prompt.substr(start, referenceLength));
        }
        start = findPrefix(prompt, next);
    }
    return references;
}

std::optional<std::string> assetHash(std::string_view reference) {
    if (!reference.starts_with(prefix)) return std::nullopt;
    const std::string_view digest = reference.substr(prefix.size());
    if (digest.size() != Sha256::textLength || !hasDigest(digest)) return std::nullopt;
    return graphemes::lowercased(digest);
}

} // namespace sorvane::ImageReferences
