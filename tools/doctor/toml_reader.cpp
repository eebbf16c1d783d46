#include "tools/doctor/toml_reader.h"

// Some texts reach the library's assertions, which would end the process or, switched off, mean
// anything: they stay on in every build, and end the reading.
#undef NDEBUG
#include <algorithm>
#include <stdexcept>
#include <string>

namespace {

[[noreturn]] void endReading() { throw std::runtime_error("not valid TOML"); }

} // namespace

#define TOML_ASSERT(condition) ((condition) ? void() : endReading())
#define TOML_MAX_NESTED_VALUES 64
#define TOML_HEADER_ONLY 1
#define TOML_ENABLE_FORMATTERS 0
#include <toml++/toml.h>

namespace sorvane::doctor {

namespace {

// Tables within tables that a key makes, "a.b.c", which the library does not bound as it bounds
// values within values: both together are what it recurses, and more than anybody writes.
constexpr std::size_t maxKeyParts = 64;

/// Looks at a text for a key of too many parts. Outside texts and comments a dot stands in a key,
/// or once in a number.
class KeyParts {
  public:
    explicit KeyParts(std::string_view text) : rest_(text) {}

    bool tooMany() {
        std::size_t parts = 1;
        while (!rest_.empty() && parts <= maxKeyParts) {
            const char c = rest_.front();
            if (c == '"' || c == '\'') {
                skipText();
                continue;
            }
            skip(c == '#' ? rest_.find('\n') : 1);
            if (c == '.') ++parts;
            if (endsKey(c)) parts = 1;
        }
        return parts > maxKeyParts;
    }

  private:
    static bool endsKey(char c) {
        return std::string_view("#\n=,{}[]").find(c) != std::string_view::npos;
    }

    // A text of three quotes may end in two more.
    void skipText() {
        const char quote = rest_.front();
        const std::string three(3, quote);
        const bool isLong = rest_.starts_with(three);
        const std::string_view end = std::string_view(three).substr(isLong ? 0 : 2);
        skip(end.size());
        while (!rest_.empty() && !rest_.starts_with(end))
            skip(quote == '"' && rest_.front() == '\\' ? 2 : 1);
        skip(end.size());
        for (int more = 0; isLong && more < 2 && rest_.starts_with(quote); ++more) skip(1);
    }

    void skip(std::size_t count) { rest_.remove_prefix(std::min(count, rest_.size())); }

    std::string_view rest_;
};

// Both limits bound how deep this goes.
nlohmann::json asJSON(const toml::node& node) {
    if (const auto* table = node.as_table()) {
        nlohmann::json object = nlohmann::json::object();
        for (const auto& [key, value] : *table) object[std::string(key.str())] = asJSON(value);
        return object;
    }
    if (const auto* array = node.as_array()) {
        nlohmann::json list = nlohmann::json::array();
        for (const toml::node& element : *array) list.push_back(asJSON(element));
        return list;
    }
    if (const auto* text = node.as_string()) return text->get();
    if (const auto* integer = node.as_integer()) return integer->get();
    if (const auto* number = node.as_floating_point()) return number->get();
    if (const auto* flag = node.as_boolean()) return flag->get();
    return nullptr;
}

} // namespace

nlohmann::json parseTOML(std::string_view text) {
    if (KeyParts(text).tooMany())
        throw std::runtime_error("a key has more than " + std::to_string(maxKeyParts) + " parts");
    try {
        return asJSON(toml::parse(text));
    } catch (const toml::parse_error& error) {
        throw std::runtime_error("line " + std::to_string(error.source().begin.line) + ": " +
                                 std::string(error.description()));
    }
}

} // namespace sorvane::doctor
