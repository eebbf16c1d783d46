#include "tools/doctor/command_line.h"

#include <sstream>

#include <CLI/CLI.hpp>

#include "integration/agent_identifier.h"
#include "support/absolute_path.h"
#include "support/utf8.h"

namespace sorvane::doctor {

namespace {

constexpr int wrongCommandLine = 2;

std::string agentFault(const std::string& agent) {
    if (AgentIdentifier::isAccepted(agent)) return "";
    return "there is no such agent; agents are codex, claude-code, cursor, and \"custom-\" with a "
           "UUID";
}

std::string directoryFault(const std::string& directory) {
    std::error_code error;
    return std::filesystem::is_directory(directory, error) ? "" : "there is no folder " + directory;
}

/// The values of options that are not yet in the command line's form; empty when not given.
struct Texts {
    std::string agent;
    std::string workspace;
};

void declareOptions(CLI::App& app, Texts& texts, CommandLine& line) {
    app.footer("Ends with 0 when all is well, 1 when something needs doing, 2 for a wrong command "
               "line.");
    app.set_version_flag("--version", "sorvane-doctor " SORVANE_VERSION);
    app.set_help_flag("--help,-h", "Print this help and exit");
    app.add_option("--agent", texts.agent,
                   "The agent to look at; \"event\" takes codex unless it is given")
        ->check(CLI::Validator(agentFault, "AGENT"));
    app.add_option("--workspace", texts.workspace,
                   "A project whose own configuration counts as well")
        ->check(CLI::Validator(directoryFault, "DIR"));
    app.add_flag("--json", line.json, "Answer with one JSON document");
    app.fallthrough();
}

} // namespace

std::variant<CommandLine, Answer> readCommandLine(int count, const char* const* arguments) {
    CommandLine line;
    Texts texts;
    CLI::App app(
        "Says why an image did not arrive: looks at everything on the way of a prompt from "
        "an agent to Sorvane, and changes nothing.",
        "sorvane-doctor");
    declareOptions(app, texts, line);
    app.require_subcommand(0, 1);
    auto* event = app.add_subcommand("event", "Say what the hook would do with an event, and send "
                                              "nothing");
    event->add_option("FILE", line.files, "The event; standard input without it or for -")
        ->expected(0, 1);
    auto* identity = app.add_subcommand("identity", "Say by what Sorvane may know these files");
    identity->add_option("FILE", line.files, "The files")->required();

    try {
        app.parse(count, arguments);
    } catch (const CLI::ParseError& error) {
        std::ostringstream output;
        std::ostringstream problem;
        const bool wrong = app.exit(error, output, problem) != 0;
        return Answer{output.str(), wrong ? utf8::repaired(problem.str()) : "",
                      wrong ? wrongCommandLine : 0};
    }
    if (!texts.agent.empty()) line.agent = texts.agent;
    if (!texts.workspace.empty()) line.workspace = absolutePath(texts.workspace);
    if (event->parsed()) line.command = CommandLine::Command::event;
    if (identity->parsed()) line.command = CommandLine::Command::identity;
    return line;
}

} // namespace sorvane::doctor
