#include "tools/doctor/toml_reader.h"

// Some texts reach the library's assertions, which would end the process or, switched off, mean
// anything: they stay on in every build, and end the reading.
#undef NDEBUG
#include <stdexcept>
#include <string>

namespace {

[[noreturn]] void endReading() { throw std::runtime_error("it is not written as TOML is"); }

} // namespace

#define TOML_ASSERT(condition) ((condition) ? void() : endReading())
#define TOML_HEADER_ONLY 1
#define TOML_ENABLE_FORMATTERS 0
#include <toml++/toml.h>

namespace sorvane::doctor {

namespace {

// The parser bounds how deep this goes.
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
    try {
        return asJSON(toml::parse(text));
    } catch (const toml::parse_error& error) {
        throw std::runtime_error("line " + std::to_string(error.source().begin.line) + ": " +
                                 std::string(error.description()));
    }
}

} // namespace sorvane::doctor
