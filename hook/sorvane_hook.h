#pragma once

#include <span>

#include <unistd.h>

namespace sorvane::SorvaneHook {

/// The descriptors of one run.
struct Streams {
    int input = STDIN_FILENO;
    int output = STDOUT_FILENO;
    int error = STDERR_FILENO;
};

/// One whole run: reads the command line, checks the credential, reads one hook event from the
/// input, resolves its images and answers. `arguments` are the process's, the program's own path
/// first.
///
/// The law of output: at most one JSON line on the output, at most one line beginning with
/// "Sorvane: " on the error stream; a credential on neither. The one exception: the application's
/// own words of refusal are passed on as they are, with the line feeds they may hold. Every failure
/// ends here, so the process ends with status 0 and the prompt goes on. SIGPIPE and SIGXFSZ are
/// ignored from here on, and the process leaves no core file and, where the system can keep others
/// of the same user from its memory, is read by none.
void main(std::span<char* const> arguments, Streams streams = {}) noexcept;

} // namespace sorvane::SorvaneHook
