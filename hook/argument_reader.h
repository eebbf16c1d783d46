#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sorvane {

/// The whole command-line parser: answers what follows an option and whether a word is present. It
/// knows no options, interprets no values and cannot fail. Words are compared whole, in their case.
class ArgumentReader {
  public:
    /// `values` are the arguments without the program's own path.
    explicit ArgumentReader(std::vector<std::string> values);

    const std::vector<std::string>& values() const { return values_; }

    /// The word right after the option's first occurrence, whatever it is, another option or an
    /// empty text included; absent when the option is missing or the last word.
    std::optional<std::string> value(std::string_view after) const;

    bool contains(std::string_view text) const;

  private:
    std::vector<std::string> values_;
};

} // namespace sorvane
