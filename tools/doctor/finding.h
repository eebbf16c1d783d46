#pragma once

#include <string>
#include <vector>

namespace sorvane::doctor {

enum class Status {
    ok,
    warning, ///< works, but should be fixed
    failed,  ///< something needs doing
    unknown, ///< nothing here can tell
};

/// What one check found. The texts may hold anything that foreign files hold: report.h keeps them
/// on one line and takes secrets out.
struct Finding {
    std::string check; ///< a word or two: "socket"
    Status status;
    std::string text;
    std::string remedy = {};  ///< what to do, as a sentence or two; empty: nothing
    std::string command = {}; ///< the shell command that does it, if one does
    std::string entry = {};   ///< what the remedy says to write into a file
};

/// The findings about one thing: the application, or an agent.
struct Section {
    std::string title;
    std::vector<Finding> findings;
};

} // namespace sorvane::doctor
