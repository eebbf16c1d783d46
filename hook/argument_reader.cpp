#include "hook/argument_reader.h"

#include <algorithm>
#include <utility>

namespace sorvane {

ArgumentReader::ArgumentReader(std::vector<std::string> values) : values_(std::move(values)) {}

std::optional<std::string> ArgumentReader::value(std::string_view after) const {
    const auto option = std::find(values_.begin(), values_.end(), after);
    if (option == values_.end() || option + 1 == values_.end()) return std::nullopt;
    return *(option + 1);
}

bool ArgumentReader::contains(std::string_view text) const {
    return std::find(values_.begin(), values_.end(), text) != values_.end();
}

} // namespace sorvane
