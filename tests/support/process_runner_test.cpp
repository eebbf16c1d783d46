#include "support/process_runner.h"

#include <csignal>
#include <cstdlib>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "support/home_directory.h"
#include "tests/children.h"
#include "tests/forked.h"
#include "tests/interruptions.h"
#include "tests/pipe.h"
#include "tests/scoped_environment.h"
#include "tests/scoped_signal.h"
#include "tests/temporary_directory.h"

// Declared by some systems' headers only.
extern char** environ; // NOLINT(readability-redundant-declaration)

using namespace sorvane;
using test::Interruptions;
using test::ScopedEnvironment;
using test::ScopedSignal;

namespace {

ProcessResult shell(const std::string& script) { return runProcess("/bin/sh", {"-c", script}); }

// The value of an environment variable as a child sees it.
std::string inChild(const std::string& name) {
    const std::string line = runProcess("/usr/bin/printenv", {name}).output;
    REQUIRE(line.ends_with('\n'));
    return line.substr(0, line.size() - 1);
}

std::string addedDirectories() {
    return ":/opt/homebrew/bin:/usr/local/bin:" + (homeDirectory() / ".local/bin").native();
}

/// A file of a test's own that may or may not be a program.
class Program {
  public:
    Program(std::string_view content, mode_t mode) {
        test::putFile(path, content);
        ::chmod(path.c_str(), mode);
    }

  private:
    const test::TemporaryDirectory directory_;

  public:
    const std::filesystem::path path = directory_.path() / "a program";
};

// Why a program could not be started; 0 when it could.
int failureToStart(const std::filesystem::path& program) {
    try {
        runProcess(program, {});
    } catch (const std::system_error& error) {
        return error.code().value();
    }
    return 0;
}

std::vector<int> openDescriptors() {
    std::vector<int> result;
    for (int descriptor = 0; descriptor < 256; ++descriptor)
        if (::fcntl(descriptor, F_GETFD) >= 0) result.push_back(descriptor);
    return result;
}

} // namespace

TEST_CASE("a program's output comes back with its status") {
    const ProcessResult result = shell("echo hello");
    CHECK(result.status == 0);
    CHECK(result.output == "hello\n");
}

TEST_CASE("a program that says nothing has no output") {
    const ProcessResult result = shell("exit 0");
    CHECK(result.status == 0);
    CHECK(result.output.empty());
}

TEST_CASE("what a program says on standard error alone is its output") {
    CHECK(shell("echo trouble >&2").output == "trouble\n");
}

TEST_CASE("both streams arrive in the order in which they were written") {
    CHECK(shell("echo 1; echo 2 >&2; echo 3; echo 4 >&2; echo 5").output == "1\n2\n3\n4\n5\n");
}

TEST_CASE("a program that reads its input finds it empty") {
    const ProcessResult result = shell("cat; echo end");
    CHECK(result.status == 0);
    CHECK(result.output == "end\n");
}

TEST_CASE("this process's own input is not touched") {
    CHECK(test::inForkedChild([] {
              test::Pipe pipe;
              if (::write(pipe.writer.get(), "for me", 6) != 6) return false;
              ::dup2(pipe.reader.get(), STDIN_FILENO);
              if (!shell("cat").output.empty()) return false;
              char text[16];
              return ::read(STDIN_FILENO, text, sizeof text) == 6;
          }) == 0);
}

TEST_CASE("a failing program's status comes back, and is no failure of ours") {
    for (const int status : {1, 3, 126, 127, 128, 255}) {
        CAPTURE(status);
        CHECK(shell("exit " + std::to_string(status)).status == status);
    }
}

TEST_CASE("a program ended by a signal has the signal's number for its status") {
    for (const int number : {SIGTERM, SIGKILL, SIGUSR1}) {
        CAPTURE(number);
        const ProcessResult result = shell("echo before; kill -" + std::to_string(number) + " $$");
        CHECK(result.status == number);
        CHECK(result.output == "before\n");
    }
}

TEST_CASE("several hundred kilobytes come through whole") {
    const ProcessResult result = shell(
        "i=0; while [ $i -lt 20000 ]; do echo \"line $i of many, and äöü\"; i=$((i+1)); done");
    std::string expected;
    for (int line = 0; line < 20000; ++line)
        expected += "line " + std::to_string(line) + " of many, and äöü\n";
    CHECK(expected.size() > 500'000);
    CHECK(result.status == 0);
    CHECK((result.output == expected));
}

TEST_CASE("a program that says much on both streams does not wait for itself") {
    const ProcessResult result =
        shell("head -c 300000 /dev/zero | tr '\\0' x >&2; head -c 300000 /dev/zero | tr '\\0' y");
    CHECK((result.output == std::string(300'000, 'x') + std::string(300'000, 'y')));
}

TEST_CASE("what a descendant says after the program has ended is waited for") {
    const ProcessResult result = shell("(sleep 1; echo late) & echo early; exit 4");
    CHECK(result.status == 4);
    CHECK(result.output == "early\nlate\n");
}

TEST_CASE("a program that closes its output goes on to its end") {
    const ProcessResult result = shell("echo all; exec >&- 2>&-; sleep 0.2; exit 5");
    CHECK(result.status == 5);
    CHECK(result.output == "all\n");
}

TEST_CASE("output that is not UTF-8 is no output, and the status is true") {
    for (const char* bytes : {R"(\377)", R"(good\n\200)", R"(\303)", R"(\300\257)",
                              R"(\355\240\200)", R"(\364\220\200\200)"}) {
        CAPTURE(bytes);
        const ProcessResult result = shell("printf '" + std::string(bytes) + "'; exit 3");
        CHECK(result.output.empty());
        CHECK(result.status == 3);
    }
}

TEST_CASE("a character that comes in two pieces is one character") {
    CHECK(shell(R"(printf '\303'; sleep 0.1; printf '\274')").output == "ü");
}

TEST_CASE("a NUL byte is text like another") {
    using namespace std::string_literals;
    CHECK(shell(R"(printf 'a\000b')").output == "a\0b"s);
}

TEST_CASE("arguments arrive as they are") {
    const std::vector<std::string> arguments{"",      "two words", "it's", "\"quoted\"",
                                             "$HOME", "*",         "a\\b", "line\nfeed",
                                             "größe", "-n",        ";",    ""};
    std::string expected;
    for (const std::string& argument : arguments) expected += "<" + argument + ">";
    std::vector<std::string> words{"-c", "printf '<%s>' \"$@\"", "sh"};
    words.insert(words.end(), arguments.begin(), arguments.end());
    CHECK(runProcess("/bin/sh", words).output == expected);
}

TEST_CASE("a program without arguments gets none") {
    const Program program("#!/bin/sh\necho $#", 0755);
    CHECK(runProcess(program.path, {}).output == "0\n");
}

TEST_CASE("a program's own name is the path by which it was started") {
    CHECK(shell("echo \"$0\"").output == "/bin/sh\n");
    const Program program("#!/bin/sh\necho \"$0\"", 0755);
    CHECK(runProcess(program.path, {}).output == program.path.native() + "\n");
}

TEST_CASE("the search path is this process's own, and three directories more") {
    const struct {
        const char* text;
        std::optional<std::string> own;
        std::string expected;
    } rows[] = {
        {"none", std::nullopt, "/usr/bin:/bin"},
        {"empty", "", ""},
        {"usual", "/usr/bin:/bin", "/usr/bin:/bin"},
        {"already there", "/usr/local/bin:/opt/homebrew/bin", "/usr/local/bin:/opt/homebrew/bin"},
        {"repeated", "/bin:/bin:", "/bin:/bin:"},
        {"nowhere", "/no such place:relative", "/no such place:relative"},
    };
    for (const auto& row : rows) {
        CAPTURE(row.text);
        const ScopedEnvironment path("PATH", row.own);
        CHECK(inChild("PATH") == row.expected + addedDirectories());
    }
}

TEST_CASE("a child's search path does not change this process's") {
    const ScopedEnvironment path("PATH", "/usr/bin:/bin");
    shell("true");
    const char* after = std::getenv("PATH");
    CHECK((after != nullptr && std::string(after) == "/usr/bin:/bin"));
}

TEST_CASE("the account's own home directory counts, whatever HOME says") {
    const ScopedEnvironment path("PATH", "/bin");
    for (const std::optional<std::string>& home :
         {std::optional<std::string>("/elsewhere"), std::optional<std::string>("")}) {
        const ScopedEnvironment elsewhere("HOME", home);
        CHECK(inChild("PATH") == "/bin" + addedDirectories());
        CHECK(inChild("HOME") == home);
    }
}

TEST_CASE("every other variable is passed on unchanged") {
    const ScopedEnvironment plain("SORVANE_TEST_PLAIN", "a=b ; $c 'd'\n\xff");
    const ScopedEnvironment empty("SORVANE_TEST_EMPTY", "");
    const ScopedEnvironment absent("SORVANE_TEST_ABSENT", std::nullopt);
    const ScopedEnvironment alike("PATHS", "/not/the/search/path");
    CHECK(shell("printenv SORVANE_TEST_PLAIN | od -An -tx1 | tr -d ' \\n'").output ==
          "613d62203b20246320276427"
          "0aff0a");
    CHECK(inChild("SORVANE_TEST_EMPTY") == "");
    CHECK(inChild("PATHS") == "/not/the/search/path");
    CHECK(runProcess("/usr/bin/printenv", {"SORVANE_TEST_ABSENT"}).status == 1);
}

TEST_CASE("of several search paths the first is extended, and the others are gone") {
    CHECK(test::inForkedChild([] {
              std::string first = "PATH=/first";
              std::string second = "PATH=/second";
              char* variables[] = {first.data(), second.data(), nullptr};
              environ = variables;
              return runProcess("/usr/bin/env", {}).output ==
                     "PATH=/first" + addedDirectories() + "\n";
          }) == 0);
}

TEST_CASE("a child has one search path") { CHECK(shell("env | grep -c '^PATH='").output == "1\n"); }

TEST_CASE("a program that cannot be started is a failure with the system's reason") {
    const test::TemporaryDirectory directory;
    CHECK(failureToStart(directory.path() / "missing") == ENOENT);
    CHECK(failureToStart(directory.path() / "missing/program") == ENOENT);
    CHECK(failureToStart(directory.path()) == EACCES);
    CHECK(failureToStart(Program("#!/bin/sh\nexit 0\n", 0644).path) == EACCES);
    CHECK(failureToStart(Program("#!/no/such/interpreter\n", 0755).path) == ENOENT);
    CHECK(failureToStart("") == ENOENT);
}

TEST_CASE("a script without an interpreter's name is not given to a shell") {
    CHECK(failureToStart(Program("echo hello\n", 0755).path) == ENOEXEC);
}

TEST_CASE("a program's bare name is not searched for") {
    const ScopedEnvironment path("PATH", "/usr/bin:/bin");
    CHECK(failureToStart("printenv") == ENOENT);
}

TEST_CASE("a program that cannot be started leaves nothing behind") {
    const std::vector<int> before = openDescriptors();
    CHECK(failureToStart("/no/such/program") == ENOENT);
    CHECK(openDescriptors() == before);
    CHECK(test::hasNoChild());
}

TEST_CASE("a program that has ended leaves nothing behind") {
    const std::vector<int> before = openDescriptors();
    shell("echo hello");
    CHECK(openDescriptors() == before);
    CHECK(test::hasNoChild());
}

TEST_CASE("a signal that is ignored or blocked here ends a child all the same") {
    for (const int number : {SIGPIPE, SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGUSR1}) {
        CAPTURE(number);
        const std::string script = "kill -" + std::to_string(number) + " $$; echo survived";
        {
            const ScopedSignal ignored(number, SIG_IGN);
            const ProcessResult result = shell(script);
            CHECK(result.status == number);
            CHECK(result.output == "");
        }
        sigset_t one;
        sigset_t before;
        sigemptyset(&one);
        sigaddset(&one, number);
        ::sigprocmask(SIG_BLOCK, &one, &before);
        const ProcessResult result = shell(script);
        ::sigprocmask(SIG_SETMASK, &before, nullptr);
        CHECK(result.status == number);
        CHECK(result.output == "");
    }
}

TEST_CASE("a process that ignores its children's ends learns their status all the same") {
    const ScopedSignal ignored(SIGCHLD, SIG_IGN);
    CHECK(shell("exit 3").status == 3);
    CHECK(shell("kill -TERM $$").status == SIGTERM);
    // And goes on ignoring them.
    struct sigaction now {};
    ::sigaction(SIGCHLD, nullptr, &now);
    CHECK((now.sa_handler == SIG_IGN));
}

TEST_CASE("whatever this process does at a child's end, it does so afterwards too") {
    const ScopedSignal handled(SIGCHLD, [](int) {});
    struct sigaction before {};
    ::sigaction(SIGCHLD, nullptr, &before);
    CHECK(shell("exit 3").status == 3);
    struct sigaction after {};
    ::sigaction(SIGCHLD, nullptr, &after);
    CHECK((after.sa_handler == before.sa_handler));
}

TEST_CASE("no descriptor of this process leaks into a child") {
    CHECK(test::inForkedChild([] {
              // A shell names descriptors up to 9.
              for (int descriptor = 3; descriptor < 10; ++descriptor)
                  if (::dup2(STDERR_FILENO, descriptor) != descriptor) return false;
              return shell("for fd in 3 4 5 6 7 8 9; do (: >&$fd) 2>/dev/null && echo $fd; done")
                  .output.empty();
          }) == 0);
}

TEST_CASE("a process without standard streams runs a child like another") {
    for (unsigned closed = 0; closed < 8; ++closed) {
        CAPTURE(closed);
        CHECK(test::inForkedChild([closed] {
                  for (int descriptor = 0; descriptor < 3; ++descriptor)
                      if ((closed >> descriptor & 1U) != 0) ::close(descriptor);
                  const ProcessResult result = shell("cat; echo out; echo err >&2; exit 3");
                  return result.status == 3 && result.output == "out\nerr\n";
              }) == 0);
    }
}

TEST_CASE("signals that interrupt the reading and the waiting change nothing") {
    const Interruptions often;
    const ProcessResult result =
        shell("sleep 0.1; echo 1; sleep 0.1; echo 2; exec >&- 2>&-; sleep 0.2; exit 3");
    CHECK(result.status == 3);
    CHECK(result.output == "1\n2\n");
    CHECK(Interruptions::count() > 0);
}
