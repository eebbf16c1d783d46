#include "integration/credential_validator.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <type_traits>
#include <vector>

#include <unistd.h>

#include <doctest/doctest.h>
#include <nlohmann/json.hpp>

#include "identity/file_identity.h"
#include "support/helper_failure.h"
#include "support/helper_io.h"
#include "tests/scoped_environment.h"
#include "tests/temporary_directory.h"

using namespace sorvane;
using namespace std::string_literals;
using nlohmann::json;
using test::putFile;
using test::ScopedEnvironment;
using test::TemporaryDirectory;
using Path = std::filesystem::path;

namespace {

constexpr std::string_view invalidAgent = "Invalid pairing request: Invalid agent identifier.";
constexpr std::string_view mismatch =
    "Invalid pairing request: Client identity does not match the managed registration.";
constexpr std::string_view invalid = "Invalid pairing request: Client credential is invalid.";
constexpr std::string_view malformed = "Invalid pairing request: Client credential is malformed.";

/// An application-support root of a test's own, with the agent `codex` installed. Outside testing
/// mode the root is the account's own, which no test may touch: so the validator is made in testing
/// mode, and the mode that a test asks for begins afterwards.
class Installation {
  public:
    Installation() {
        putFile(credential, "token");
        install("codex");
    }

    /// Leaves a manifest for an agent, with some of its members replaced.
    void install(const std::string& agent, const json& replaced = json::object()) {
        json manifest = {{"agent", agent},
                         {"installedAt", 770000000},
                         {"clientID", "client-1"},
                         {"credentialHash", HelperIO::sha256("token")},
                         {"credentialPath", credential.native()},
                         {"mcpServerName", "sorvane"},
                         {"mcpExecutablePath", "/opt/sorvane-mcp"},
                         {"hookExecutablePath", "/opt/sorvane-hook"},
                         {"managedEntries", json::array()},
                         {"backupPaths", json::array()}};
        manifest.update(replaced);
        putFile(manifestFile(agent), manifest.dump());
    }

    /// A credential of another content, with its digest in the manifest.
    void issue(std::string_view content) {
        putFile(credential, content);
        install("codex", {{"credentialHash", HelperIO::sha256(content)}});
    }

    Path manifestFile(const std::string& agent) const {
        return root / "Integrations/Agents" / (agent + ".json");
    }

    ValidatedCredential validate(std::string_view agent, std::string_view clientID,
                                 const Path& file) const {
        const ScopedEnvironment mode("SORVANE_TESTING", testing);
        return validator->validate(agent, clientID, file);
    }

    ValidatedCredential validate() const { return validate("codex", "client-1", credential); }

    /// What a rejected client is told, or "accepted".
    std::string outcome(std::string_view agent, std::string_view clientID, const Path& file) const {
        try {
            validate(agent, clientID, file);
        } catch (const HelperFailure& failure) {
            return failure.errorDescription();
        }
        return "accepted";
    }

    std::string outcome() const { return outcome("codex", "client-1", credential); }

  private:
    const TemporaryDirectory directory_;

  public:
    const Path root = directory_.path() / "root";
    const Path credential = directory_.path() / "credential";
    std::optional<std::string> testing; ///< SORVANE_TESTING while validating

  private:
    std::unique_ptr<CredentialValidator> made() const {
        const ScopedEnvironment mode("SORVANE_TESTING", "1");
        const ScopedEnvironment appSupport("SORVANE_APP_SUPPORT", root.native());
        return std::make_unique<CredentialValidator>();
    }

    const std::unique_ptr<CredentialValidator> validator = made();
};

const std::vector<std::optional<std::string>> otherModes = {std::nullopt, "",   "0",  "true",
                                                            "01",         " 1", "1 ", "yes"};

} // namespace

TEST_CASE("a client that the application installed gets its manifest and its token") {
    const Installation installation;
    const ValidatedCredential credential = installation.validate();
    CHECK(credential.token == "token");
    CHECK(credential.manifest.agent == "codex");
    CHECK(credential.manifest.clientID == "client-1");
    CHECK(credential.manifest.credentialPath == installation.credential.native());
    CHECK(credential.manifest ==
          HelperIO::readJSON<AgentManifest>(installation.manifestFile("codex")));
    static_assert(!std::is_copy_assignable_v<ValidatedCredential>);
}

TEST_CASE("every kind of agent has its own manifest") {
    Installation installation;
    for (const std::string agent :
         {"claude-code", "cursor", "custom-9b2f4c1e-3a7d-4f5b-8c6e-2d1a0f9e8b7c"}) {
        CAPTURE(agent);
        CHECK_THROWS_AS(installation.validate(agent, "client-1", installation.credential),
                        std::system_error);
        installation.install(agent);
        CHECK(installation.outcome(agent, "client-1", installation.credential) == "accepted");
    }
    // The same UUID in the other case is another agent. Where file names are case-sensitive its
    // manifest is missing; otherwise the manifest that is found names the first agent.
    CHECK_THROWS(installation.validate("custom-9B2F4C1E-3A7D-4F5B-8C6E-2D1A0F9E8B7C", "client-1",
                                       installation.credential));
}

TEST_CASE("an identifier that is no agent's is rejected before any file is touched") {
    Installation installation;
    for (const std::string agent : {"", "Codex", "codex ", "test", "custom-", "../codex"}) {
        CAPTURE(agent);
        CHECK(installation.outcome(agent, "client-1", "/missing") == invalidAgent);
    }
    std::filesystem::remove_all(installation.root);
    CHECK(installation.outcome("test", "client-1", "/missing") == invalidAgent);
}

TEST_CASE("the agent \"test\" is accepted in testing mode only, from its own manifest") {
    Installation installation;
    installation.install("test");
    for (const auto& mode : otherModes) {
        CAPTURE(mode.value_or("(not set)"));
        installation.testing = mode;
        CHECK(installation.outcome("test", "client-1", installation.credential) == invalidAgent);
    }
    installation.testing = "1";
    CHECK(installation.outcome("test", "client-1", installation.credential) == "accepted");
    for (const std::string agent : {"Test", "test ", "tests", ""}) {
        CAPTURE(agent);
        CHECK(installation.outcome(agent, "client-1", installation.credential) == invalidAgent);
    }
    std::filesystem::remove(installation.manifestFile("test"));
    CHECK_THROWS_AS(installation.validate("test", "client-1", installation.credential),
                    std::system_error);
}

TEST_CASE("the credential's path may differ in testing mode only") {
    Installation installation;
    const Path other = installation.root / "other";
    putFile(other, "token");
    for (const auto& mode : otherModes) {
        CAPTURE(mode.value_or("(not set)"));
        installation.testing = mode;
        CHECK(installation.outcome("codex", "client-1", other) == mismatch);
        CHECK(installation.outcome() == "accepted");
    }
    installation.testing = "1";
    CHECK(installation.outcome("codex", "client-1", other) == "accepted");
    CHECK(installation.validate("codex", "client-1", other).token == "token");
}

TEST_CASE("a manifest that cannot be read fails in its own words") {
    Installation installation;
    const Path manifest = installation.manifestFile("codex");
    std::filesystem::remove(manifest);
    CHECK_THROWS_AS(installation.validate(), std::system_error);
    std::filesystem::create_directory(manifest);
    CHECK_THROWS_AS(installation.validate(), std::system_error);
    std::filesystem::remove(manifest);
    putFile(manifest, "{");
    CHECK_THROWS_AS(installation.validate(), std::runtime_error);
    putFile(manifest, "{}");
    CHECK_THROWS_AS(installation.validate(), record::DecodingError);
    installation.install("codex", {{"backupPaths", nullptr}});
    CHECK_THROWS_AS(installation.validate(), record::DecodingError);
}

TEST_CASE("a client is the one of the manifest, letter for letter") {
    Installation installation;
    for (const std::string clientID :
         {"", "client-2", "Client-1", "client-1 ", " client-1", "client"}) {
        CAPTURE(clientID);
        CHECK(installation.outcome("codex", clientID, installation.credential) == mismatch);
    }
    CHECK(installation.outcome("codex", "client-1\0"s, installation.credential) == mismatch);
    for (const std::string agent : {"cursor", "Codex", "codex ", ""}) {
        CAPTURE(agent);
        installation.install("codex", {{"agent", agent}});
        CHECK(installation.outcome() == mismatch);
    }
    installation.testing = "1";
    CHECK(installation.outcome() == mismatch);
    installation.install("codex", {{"clientID", "client-2"}});
    CHECK(installation.outcome() == mismatch);
}

TEST_CASE("another spelling of the credential's path does not match") {
    Installation installation;
    const std::string folder = installation.credential.parent_path().native();
    std::filesystem::create_symlink(installation.credential, folder + "/link");
    for (const std::string& path :
         {folder + "/link", folder + "//credential", folder + "/./credential",
          folder + "/root/../credential", "/." + folder + "/credential", folder + "/Credential"s,
          "credential"s, ""s}) {
        CAPTURE(path);
        // On the command line, and in the manifest.
        CHECK(installation.outcome("codex", "client-1", path) == mismatch);
        Installation other;
        other.install("codex", {{"credentialPath", path}});
        CHECK(other.outcome() == mismatch);
    }
}

TEST_CASE("a relative path counts from the current directory") {
    Installation installation;
    const Path before = std::filesystem::current_path();
    std::filesystem::current_path(installation.credential.parent_path());
    const Path current = std::filesystem::current_path();
    installation.install("codex", {{"credentialPath", (current / "credential").native()}});
    CHECK(installation.outcome("codex", "client-1", "credential") == "accepted");
    CHECK(installation.outcome("codex", "client-1", "./credential") == mismatch);
    installation.install("codex", {{"credentialPath", "credential"}});
    CHECK(installation.outcome("codex", "client-1", "credential") == mismatch);
    std::filesystem::current_path(before);
}

TEST_CASE("a link that the manifest names is read") {
    Installation installation;
    const Path link = installation.root / "link";
    std::filesystem::create_symlink(installation.credential, link);
    installation.install("codex", {{"credentialPath", link.native()}});
    CHECK(installation.outcome("codex", "client-1", link) == "accepted");
}

TEST_CASE("the client's identity comes before its credential") {
    Installation installation;
    std::filesystem::remove(installation.credential);
    CHECK(installation.outcome("codex", "client-2", installation.credential) == mismatch);
    CHECK_THROWS_AS(installation.validate(), std::system_error);
}

TEST_CASE("a credential that is no regular file fails in the file's own words") {
    Installation installation;
    std::filesystem::remove(installation.credential);
    std::filesystem::create_directory(installation.credential);
    CHECK_THROWS_AS(installation.validate(), std::system_error);
}

TEST_CASE("a credential is the one of the digest, byte for byte") {
    Installation installation;
    for (const std::string& content :
         {""s, "Token"s, "token\n"s, " token"s, "token\0"s, "\xEF\xBB\xBFtoken"s, "\xFF"s}) {
        CAPTURE(content);
        putFile(installation.credential, content);
        CHECK(installation.outcome() == invalid);
    }
}

TEST_CASE("a digest is compared as text") {
    Installation installation;
    const std::string digest = HelperIO::sha256("token");
    std::string upper = digest;
    for (char& digit : upper)
        if (digit >= 'a') digit = static_cast<char>(digit - 'a' + 'A');
    for (const std::string& other : {upper, digest + " ", digest.substr(0, 63), ""s}) {
        CAPTURE(other);
        installation.install("codex", {{"credentialHash", other}});
        CHECK(installation.outcome() == invalid);
    }
}

TEST_CASE("a token is the whole content, untrimmed") {
    Installation installation;
    for (const std::string& content :
         {"token\n"s, " token "s, "\n"s, "a\0b"s, "caf\u00E9"s, "\xEF\xBB\xBFtoken"s, "a\r\nb\n"s,
          std::string(200'000, 't')}) {
        installation.issue(content);
        CHECK(installation.outcome() == "accepted");
        CHECK((installation.validate().token == content));
    }
}

TEST_CASE("a credential with the right digest must be a text that is not empty") {
    Installation installation;
    for (const std::string& content : {""s, "\xFF"s, "token\xC3"s, "\xC0\x80"s, "\xED\xA0\x80"s}) {
        CAPTURE(content);
        installation.issue(content);
        CHECK(installation.outcome() == malformed);
    }
}

TEST_CASE("the digest comes before the form") {
    Installation installation;
    putFile(installation.credential, "");
    CHECK(installation.outcome() == invalid);
    putFile(installation.credential, "\xFF\xFE");
    CHECK(installation.outcome() == invalid);
}

TEST_CASE("a validation leaves nothing behind") {
    const Installation installation;
    installation.validate();
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(installation.root))
        if (!entry.is_directory()) files.push_back(entry.path().filename().native());
    CHECK(files == std::vector<std::string>{"codex.json"});
}
