#pragma once

#include <filesystem>
#include <string_view>

#include "integration/agent_manifest.h"
#include "integration/helper_paths.h"
#include "support/secret_text.h"

namespace sorvane {

/// A client that the application installed, and the text that proves it.
struct ValidatedCredential {
    const AgentManifest manifest;
    const SecretText token; ///< the credential file's content, untrimmed
};

/// Checks a client against the manifest that the application left for its agent.
struct CredentialValidator {
    const HelperPaths paths;

    /// The absolute path of `credentialFile` is compared as text with the manifest's path: another
    /// spelling of the same file does not match. In testing mode the path may differ, and the
    /// agent "test" is accepted.
    /// Throws HelperFailure::invalidRequest when the client is rejected, and what `readJSON` and
    /// `readFile` throw when manifest or credential cannot be read.
    ValidatedCredential validate(std::string_view agent, std::string_view clientID,
                                 const std::filesystem::path& credentialFile) const;
};

} // namespace sorvane
