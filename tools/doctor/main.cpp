// sorvane-doctor: says why an image did not arrive.
//
// The answer goes to standard output; faults of the command line, and the progress of many files on
// a terminal, to standard error. Neither ever shows a credential. When nobody reads the output any
// more, the run ends without a message.

#include <csignal>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <variant>

#include <unistd.h>

#include "support/absolute_path.h"
#include "support/descriptor_io.h"
#include "support/file_reader.h"
#include "support/json.h"
#include "support/utf8.h"
#include "tools/doctor/command_line.h"
#include "tools/doctor/event_report.h"
#include "tools/doctor/examination.h"
#include "tools/doctor/identity_report.h"
#include "tools/doctor/terminal.h"

namespace sorvane::doctor {

namespace {

int examination(const CommandLine& line) {
    const Report report = examine(line.agent, line.workspace);
    writeAll(STDOUT_FILENO,
             line.json ? jsonText(report.json()) + '\n' : report.text(takesColour(STDOUT_FILENO)));
    return report.isWell() ? EXIT_SUCCESS : EXIT_FAILURE;
}

void print(const CommandLine& line, const nlohmann::json& report,
           std::string (*text)(const nlohmann::json&)) {
    writeAll(STDOUT_FILENO, line.json ? jsonText(report) + '\n' : text(report));
}

// The event in a file, or on standard input. Throws with the file's name and the reason.
nlohmann::json readEvent(const std::string& file) {
    std::string text;
    if (file == "-")
        appendToEnd(STDIN_FILENO, text);
    else
        text = readFile(absolutePath(file));
    const std::string name = file == "-" ? "standard input" : file;
    if (text.empty()) throw std::runtime_error(name + " is empty: the hook does nothing with it");
    nlohmann::json event;
    try {
        event = parseJSON(text);
    } catch (const std::exception& failure) {
        throw std::runtime_error(name + ": " + failure.what());
    }
    if (event.is_object()) return event;
    throw std::runtime_error(name + " is a list and no event: the hook does nothing with it");
}

int event(const CommandLine& line) {
    const std::string file = line.files.empty() ? "-" : line.files.front();
    print(line, eventReport(readEvent(file), line.agent.value_or("codex")), eventText);
    return EXIT_SUCCESS;
}

int identity(const CommandLine& line) {
    const nlohmann::json report = identityReport(line.files);
    print(line, report, identityReportText);
    return isComplete(report) ? EXIT_SUCCESS : EXIT_FAILURE;
}

int run(const CommandLine& line) {
    switch (line.command) {
    case CommandLine::Command::event:
        return event(line);
    case CommandLine::Command::identity:
        return identity(line);
    case CommandLine::Command::examine:
        break;
    }
    return examination(line);
}

int main(int count, const char* const* arguments) try {
    const auto read = readCommandLine(count, arguments);
    if (const auto* line = std::get_if<CommandLine>(&read)) return run(*line);
    const auto& answer = std::get<Answer>(read);
    writeAll(STDOUT_FILENO, answer.output);
    writeAll(STDERR_FILENO, answer.error);
    return answer.status;
} catch (const std::exception& failure) {
    writeAll(STDERR_FILENO, "sorvane-doctor: " + utf8::oneLine(failure.what()) + '\n');
    return EXIT_FAILURE;
}

} // namespace
} // namespace sorvane::doctor

int main(int count, char** arguments) {
    std::signal(SIGPIPE, SIG_IGN);
    return sorvane::doctor::main(count, arguments);
}
