#include "tools/doctor/hook_call.h"

#include <algorithm>

namespace sorvane::doctor {

namespace {

constexpr std::string_view programName = "sorvane-hook";

bool namesHook(const ShellWord& word) {
    return std::string_view(word.text).substr(word.text.find_last_of('/') + 1) == programName;
}

} // namespace

std::optional<ShellWord> HookCall::value(std::string_view option) const {
    const auto found =
        std::find_if(options.begin(), options.end(),
                     [option](const ShellWord& word) { return word.text == option; });
    if (found == options.end() || found + 1 == options.end()) return std::nullopt;
    return *(found + 1);
}

std::optional<HookCall> hookCall(std::string_view line, std::string_view home) {
    const auto commands = splitCommandLine(line, home);
    if (!commands) return std::nullopt;
    std::optional<HookCall> first;
    for (const ShellWords& words : *commands) {
        const auto program = std::find_if(words.begin(), words.end(), namesHook);
        if (program == words.end()) continue;
        HookCall call{{words.begin(), program}, *program, {program + 1, words.end()}};
        if (call.value("--agent")) return call;
        if (!first) first = std::move(call);
    }
    return first;
}

bool mentionsHook(std::string_view text) { return text.find(programName) != text.npos; }

} // namespace sorvane::doctor
