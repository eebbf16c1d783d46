#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace sorvane {

struct ProcessResult {
    std::int32_t status; ///< the exit status, or the number of the signal that ended the program
    std::string output;  ///< standard output and error in one; empty when that is not UTF-8
};

/// Runs a program to its end, directly, without a shell. `arguments` do not include the program's
/// own name. Its input is empty; its environment is this process's, with "PATH" extended by the
/// usual directories of user-installed tools. That the program fails is not a failure here.
///
/// Blocks until the program has ended and every process that inherited its output has closed it;
/// there is no timeout. Throws std::system_error when the program cannot be started.
ProcessResult runProcess(const std::filesystem::path& executable,
                         const std::vector<std::string>& arguments);

} // namespace sorvane
