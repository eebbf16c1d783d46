// JSON texts under libFuzzer: what is read must be what the library reads, and what is rejected
// what the library rejects, but for the limits of our own.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

#include "support/json.h"

using nlohmann::json;

namespace {

std::optional<json> readByTheLibrary(std::string_view text) {
    json value = json::parse(text, nullptr, false);
    // It takes a NUL byte for the end.
    if (!value.is_structured() || text.find('\0') != std::string_view::npos) return std::nullopt;
    return std::make_optional(std::move(value));
}

std::optional<json> readHere(std::string_view text) {
    try {
        return std::make_optional(sorvane::parseJSON(text));
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

bool mayBeTooDeep(std::string_view text) {
    const auto opens = [](char c) { return c == '[' || c == '{'; };
    return std::ranges::count_if(text, opens) > sorvane::maxJsonNesting;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto here = readHere(text);
    if (mayBeTooDeep(text)) return 0;
    const auto expected = readByTheLibrary(text);
    // As texts, which differ where numbers are equal and of another kind.
    if (here.has_value() != expected.has_value() || (here && here->dump() != expected->dump()))
        std::abort();
    return 0;
}
