#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tools/doctor/shell_words.h"

namespace sorvane::doctor {

/// How a command of an agent's configuration runs the hook.
struct HookCall {
    ShellWords before; ///< words of the same simple command before the program
    ShellWord program;
    ShellWords options; ///< all words after it

    /// The word after an option's first occurrence, as the hook reads it.
    std::optional<ShellWord> value(std::string_view option) const;
};

/// The first simple command of a line with a word that names the program sorvane-hook; one that
/// also names an agent is preferred. Nothing when there is none, or the line cannot be split.
std::optional<HookCall> hookCall(std::string_view line, std::string_view home);

/// Whether the hook's name occurs in the text at all.
bool mentionsHook(std::string_view text);

} // namespace sorvane::doctor
