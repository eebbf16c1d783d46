#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace sorvane::doctor {

/// What the user asks for.
struct CommandLine {
    enum class Command { examine, event, identity };

    Command command = Command::examine;
    std::optional<std::string> agent;
    std::optional<std::filesystem::path> workspace;
    std::vector<std::string> files; ///< of an event "-" is the standard input
    bool json = false;
};

/// An answer instead of a run: help, the version, or what is wrong with the words.
struct Answer {
    std::string output;
    std::string error;
    int status;
};

std::variant<CommandLine, Answer> readCommandLine(int count, const char* const* arguments);

} // namespace sorvane::doctor
