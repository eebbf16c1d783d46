#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sorvane::doctor {

/// A word of a command line after the shell has split it.
struct ShellWord {
    std::string text;
    bool known = true; ///< false: part of it only the running shell knows ($NAME, `...`, *.png)
};

using ShellWords = std::vector<ShellWord>;

/// The simple commands of a POSIX shell's command line, in their order: what stands between pipes,
/// lists and brackets, without redirections. A tilde and $HOME are `home`; every other expansion
/// makes its word an unknown one. Nothing when the line breaks off inside quotes.
std::optional<std::vector<ShellWords>> splitCommandLine(std::string_view line,
                                                        std::string_view home);

} // namespace sorvane::doctor
