#include "support/process_runner.h"

#include <string_view>
#include <utility>

#include <unistd.h>

#include "support/child_process.h"
#include "support/descriptor_io.h"
#include "support/home_directory.h"
#include "support/pipe.h"
#include "support/utf8.h"

// Not every system's headers declare it.
extern char** environ; // NOLINT(readability-redundant-declaration)

namespace sorvane {

namespace {

// The inherited directories come first; the others are appended even when they are among them.
std::vector<std::string> extendedEnvironment() {
    constexpr std::string_view pathName = "PATH=";
    std::vector<std::string> environment;
    std::string path;
    for (char** entry = environ; entry != nullptr && *entry != nullptr; ++entry) {
        std::string variable = *entry;
        if (!variable.starts_with(pathName))
            environment.push_back(std::move(variable));
        else if (path.empty()) // of several the first counts, as for `getenv`
            path = std::move(variable);
    }
    if (path.empty()) path = "PATH=/usr/bin:/bin";
    path += ":/opt/homebrew/bin:/usr/local/bin:";
    path += (homeDirectory() / ".local/bin").native();
    environment.push_back(std::move(path));
    return environment;
}

} // namespace

ProcessResult runProcess(const std::filesystem::path& executable,
                         const std::vector<std::string>& arguments) {
    std::vector<std::string> words{executable.native()};
    words.insert(words.end(), arguments.begin(), arguments.end());

    Pipe pipe = makePipe();
    ChildStreams streams;
    streams.connect(pipe.writingEnd.get(), STDOUT_FILENO);
    streams.connect(pipe.writingEnd.get(), STDERR_FILENO);
    streams.connectNull(STDIN_FILENO);
    ChildProcess child(executable, std::move(words), extendedEnvironment(), std::move(streams));
    pipe.writingEnd.reset();

    // Read before the wait: a program that prints more than a pipe holds would never end.
    std::string output;
    appendToEnd(pipe.readingEnd.get(), output);
    const std::int32_t status = child.wait();
    if (!utf8::isValid(output)) output.clear();
    return {status, std::move(output)};
}

} // namespace sorvane
