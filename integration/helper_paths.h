#pragma once

#include <filesystem>
#include <string_view>

namespace sorvane {

/// Whether testing mode is on: SORVANE_TESTING is exactly "1".
bool isTesting();

/// Where the application keeps what it shares with its helpers. Construction reads the environment
/// and, unless that names the root, looks up the account's home directory (see `homeDirectory`,
/// which may wait); it creates nothing and does not fail. All paths are absolute, as far as
/// `absolutePath` can make them so.
///
/// The root is "Library/Application Support/Sorvane" in the account's home directory; in testing
/// mode, and only then, SORVANE_APP_SUPPORT replaces it when it is set.
struct HelperPaths {
    HelperPaths();

    const std::filesystem::path appSupport;
    const std::filesystem::path integrations;
    const std::filesystem::path requests; ///< pairing requests
    const std::filesystem::path agents;   ///< the files of each agent, see `agentFile`
    const std::filesystem::path database; ///< the clipboard history; only named here
    const std::filesystem::path socket;   ///< the Tandem Link

    /// A file of one agent in `agents`: the identifier and the suffix are appended as text. Only
    /// with a valid identifier (agent_identifier.h) does it lie in that directory itself.
    std::filesystem::path agentFile(std::string_view agent, std::string_view suffix) const;
};

} // namespace sorvane
