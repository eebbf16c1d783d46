#pragma once

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/unique_descriptor.h"
#include "tests/pipe.h"

namespace sorvane::test {

/// The next line that somebody else writes, without its line feed; what there is of it when no more
/// comes. The time that is given it only keeps a test from waiting for ever.
inline std::string nextLine(int descriptor) {
    constexpr int milliseconds = 30'000;
    std::string line;
    char byte = 0;
    pollfd waiting{descriptor, POLLIN, 0};
    while (::poll(&waiting, 1, milliseconds) > 0 && ::read(descriptor, &byte, 1) == 1) {
        if (byte == '\n') break;
        line += byte;
    }
    return line;
}

/// A program that runs beside the test, with pipes for its input and output; ended with the scope.
class StartedProcess {
  public:
    /// Looks a bare name up in the search path. `words` begin with the program's own name.
    StartedProcess(const std::filesystem::path& program, std::vector<std::string> words,
                   const std::filesystem::path& directory = "/") {
        Pipe input;
        Pipe output;
        std::vector<char*> arguments;
        for (std::string& word : words) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        id_ = ::fork();
        if (id_ < 0) throw std::runtime_error("no child process");
        if (id_ == 0) {
            ::dup2(input.reader.get(), STDIN_FILENO);
            ::dup2(output.writer.get(), STDOUT_FILENO);
            for (int descriptor = 3; descriptor < 256; ++descriptor) ::close(descriptor);
            if (::chdir(directory.c_str()) == 0) ::execvp(program.c_str(), arguments.data());
            ::_exit(127);
        }
        input_ = std::move(input.writer);
        output_ = std::move(output.reader);
    }
    StartedProcess(const StartedProcess&) = delete;
    StartedProcess& operator=(const StartedProcess&) = delete;
    ~StartedProcess() {
        if (id_ <= 0) return;
        closeInput(); // for one that this process may not signal any more
        ::kill(id_, SIGKILL);
        reap();
    }

    pid_t id() const { return id_; }

    std::string line() const { return nextLine(output_.get()); }

    void write(std::string_view text) const {
        if (::write(input_.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()))
            throw std::runtime_error("the process does not take its input");
    }

    void closeInput() { input_.reset(); }

    /// Waits until the process has ended, and leaves it to be reaped.
    void awaitEnd() const {
        siginfo_t ended;
        while (::waitid(P_PID, static_cast<id_t>(id_), &ended, WEXITED | WNOWAIT) < 0 &&
               errno == EINTR)
            continue;
    }

    void reap() {
        while (::waitpid(id_, nullptr, 0) < 0 && errno == EINTR) continue;
        id_ = -1;
    }

  private:
    pid_t id_ = -1;
    UniqueDescriptor input_;
    UniqueDescriptor output_;
};

} // namespace sorvane::test
