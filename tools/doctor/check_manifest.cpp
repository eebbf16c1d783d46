// The manifest, the programs that it names, and the credential.

#include <exception>
#include <filesystem>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

#include "identity/file_identity.h"
#include "support/helper_io.h"
#include "support/utf8.h"
#include "tools/doctor/checks.h"

namespace sorvane::doctor {

namespace {

constexpr mode_t othersRead = 0077;

Finding checkProgram(const char* check, const std::string& path, std::string_view agent) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return {check, Status::failed, "there is no program " + path, reinstall(agent)};
    if (!S_ISREG(status.st_mode))
        return {check, Status::failed, path + " is no program", reinstall(agent)};
    if (::access(path.c_str(), X_OK) != 0)
        return {check, Status::failed, path + " may not be executed", "Allow it.",
                "chmod u+x " + HelperIO::shellQuoted(path)};
    return {check, Status::ok, path};
}

// A directory, a pipe, a link to itself: what no writer replaces.
bool isInTheWay(const std::filesystem::path& file) {
    std::error_code ignored;
    return std::filesystem::exists(std::filesystem::symlink_status(file, ignored)) &&
           !std::filesystem::is_regular_file(file, ignored);
}

constexpr auto inTheWay = "Remove what is in the file's place, and look again.";

std::string removal(const std::filesystem::path& file) {
    return "rm -r " + HelperIO::shellQuoted(file.native());
}

Finding credentialFinding(Status status, std::string text, std::string remedy,
                          std::string command = {}) {
    return {"credential", status, std::move(text), std::move(remedy), std::move(command)};
}

} // namespace

std::string displayName(std::string_view agent) {
    for (const Agent& row : agents)
        if (row.identifier == agent) return std::string(row.name);
    return std::string(agent);
}

std::string reinstall(std::string_view agent) {
    return "In Sorvane's settings, install the integration into " + displayName(agent) + " again.";
}

ManifestCheck checkManifest(const HelperPaths& paths, const std::string& agent) {
    const auto file = paths.agentFile(agent, ".json");
    const auto failed = [&](std::string text) {
        Finding finding{"manifest", Status::failed, std::move(text), reinstall(agent)};
        if (isInTheWay(file)) {
            finding.remedy = inTheWay;
            finding.command = removal(file);
        }
        return ManifestCheck{std::nullopt, {std::move(finding)}};
    };
    std::error_code error;
    if (!std::filesystem::exists(std::filesystem::symlink_status(file, error)))
        return {
            std::nullopt,
            {{"manifest", Status::failed,
              "Sorvane has not been installed into this agent: there is no " + file.native(),
              "In Sorvane's settings, install the integration into " + displayName(agent) + "."}}};
    try {
        const auto manifest = HelperIO::readJSON<AgentManifest>(file);
        if (manifest.agent != agent)
            return failed(file.native() + " belongs to the agent " + manifest.agent);
        std::vector<Finding> findings{
            {"manifest", Status::ok, file.native()},
            checkProgram("hook program", manifest.hookExecutablePath, agent)};
        if (manifest.mcpExecutablePath.empty())
            findings.push_back({"MCP program", Status::ok, "the manifest names none"});
        else
            findings.push_back(checkProgram("MCP program", manifest.mcpExecutablePath, agent));
        return {manifest, std::move(findings)};
    } catch (const std::system_error& failure) {
        return failed(failure.what());
    } catch (const std::exception& failure) {
        return failed(file.native() + ": " + failure.what());
    }
}

CredentialCheck checkCredential(const AgentManifest& manifest) {
    const std::string& path = manifest.credentialPath;
    const std::string again = reinstall(manifest.agent);
    std::string secret;
    try {
        secret = readFile(path);
    } catch (const std::exception& failure) {
        auto finding = isInTheWay(path) ? credentialFinding(Status::failed, failure.what(),
                                                            inTheWay, removal(path))
                                        : credentialFinding(Status::failed, failure.what(), again);
        return {std::move(finding), ""};
    }
    if (HelperIO::sha256(secret) != manifest.credentialHash)
        return {
            credentialFinding(Status::failed, path + " is not the file that Sorvane issued", again),
            secret};
    if (secret.empty() || !utf8::isValid(secret))
        return {credentialFinding(Status::failed, path + " holds no text", again), secret};
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0 && (status.st_mode & othersRead) != 0)
        return {credentialFinding(Status::warning, "others may read " + path,
                                  "Take the others' permissions away.",
                                  "chmod 600 " + HelperIO::shellQuoted(path)),
                secret};
    return {credentialFinding(Status::ok, path, ""), secret};
}

} // namespace sorvane::doctor
