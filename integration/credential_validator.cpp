#include "integration/credential_validator.h"

#include <utility>

#include "integration/agent_identifier.h"
#include "support/absolute_path.h"
#include "support/file_reader.h"
#include "support/helper_failure.h"
#include "support/helper_io.h"
#include "support/sha256.h"
#include "support/utf8.h"

namespace sorvane {

ValidatedCredential
CredentialValidator::validate(std::string_view agent, std::string_view clientID,
                              const std::filesystem::path& credentialFile) const {
    if (!AgentIdentifier::isAccepted(agent))
        throw HelperFailure::invalidRequest("Invalid agent identifier.");
    const auto manifest = HelperIO::readJSON<AgentManifest>(paths.agentFile(agent, ".json"));

    const auto file = absolutePath(credentialFile.native());
    const bool samePath = isTesting() || manifest.credentialPath == file.native();
    if (manifest.agent != agent || manifest.clientID != clientID || !samePath)
        throw HelperFailure::invalidRequest(
            "Client identity does not match the managed registration.");

    // The digest is checked before the form: a file that the application did not issue is reported
    // as invalid, whatever it contains.
    SecretText token = readFile(file);
    if (Sha256::hexOf(token) != manifest.credentialHash)
        throw HelperFailure::invalidRequest("Client credential is invalid.");
    if (token.empty() || !utf8::isValid(token))
        throw HelperFailure::invalidRequest("Client credential is malformed.");
    return {manifest, std::move(token)};
}

} // namespace sorvane
