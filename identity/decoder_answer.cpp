#include "identity/decoder_answer.h"

#include <charconv>

#include "identity/pixel_budget.h"
#include "support/hexadecimal.h"

namespace sorvane {

namespace {

constexpr std::string_view orientationKey = "orientation ";

struct LineOf {
    std::string operator()(const PixelIdentity& identity) const {
        return identity.digest + ' ' + std::to_string(identity.width) + ' ' +
               std::to_string(identity.height) + '\n';
    }
    std::string operator()(LateOrientation late) const {
        return std::string(orientationKey) + std::to_string(late.number) + '\n';
    }
};

bool isDigest(std::string_view text) {
    return text.size() == Sha256::textLength &&
           text.find_first_not_of(lowerHexDigits) == std::string_view::npos;
}

// Takes a positive decimal number and the character after it off the front of a text.
std::optional<std::int64_t> takeNumber(std::string_view& text, char after) {
    std::int64_t number = 0;
    const char* end = text.data() + text.size();
    const auto [rest, failure] = std::from_chars(text.data(), end, number);
    if (failure != std::errc{} || number <= 0 || text.front() == '0' || rest == end ||
        *rest != after)
        return std::nullopt;
    text.remove_prefix(static_cast<std::size_t>(rest + 1 - text.data()));
    return number;
}

std::optional<PixelIdentity> parseIdentity(std::string_view line) {
    const std::string_view digest = line.substr(0, Sha256::textLength);
    if (!isDigest(digest) || !line.substr(digest.size()).starts_with(' ')) return std::nullopt;
    line.remove_prefix(digest.size() + 1);
    const auto width = takeNumber(line, ' ');
    const auto height = width ? takeNumber(line, '\n') : std::nullopt;
    if (!height || !line.empty() ||
        !withinPixelBudget(static_cast<std::uint64_t>(*width), static_cast<std::uint64_t>(*height)))
        return std::nullopt;
    return PixelIdentity{std::string(digest), *width, *height};
}

} // namespace

std::string decoderAnswer(const DecoderAnswer& answer) { return std::visit(LineOf{}, answer); }

std::optional<DecoderAnswer> parseDecoderAnswer(std::string_view line) {
    if (!line.starts_with(orientationKey)) return parseIdentity(line);
    if (!line.ends_with('\n')) return std::nullopt;
    line.remove_prefix(orientationKey.size());
    line.remove_suffix(1);
    return parseLateOrientation(line);
}

std::optional<LateOrientation> parseLateOrientation(std::string_view digit) {
    if (digit.size() != 1 || digit < "1" || digit > "8") return std::nullopt;
    return LateOrientation{digit.front() - '0'};
}

} // namespace sorvane
