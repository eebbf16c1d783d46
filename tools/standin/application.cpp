#include "tools/standin/application.h"

#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "identity/file_identity.h"
#include "integration/agent_identifier.h"
#include "integration/agent_manifest.h"
#include "support/helper_io.h"
#include "support/json.h"
#include "tools/standin/misbehaviour.h"

namespace sorvane::standin {

namespace {

namespace fs = std::filesystem;

/// A request that the application refuses, with the text for the user.
struct Refusal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

nlohmann::json imageIn(std::string_view workspace, const Picture& picture) {
    nlohmann::json image = {{"relativePath", copyInto(workspace, picture)}, {"uti", picture.uti}};
    if (picture.width) image["width"] = *picture.width;
    if (picture.height) image["height"] = *picture.height;
    return image;
}

nlohmann::json noMatch() { return {{"matched", false}, {"images", nlohmann::json::array()}}; }

} // namespace

bool isAgent(std::string_view agent) { return AgentIdentifier::isValid(agent) || agent == "test"; }

// Not HelperPaths: the root is an option here, whatever the mode.
fs::path manifestPath(const fs::path& root, std::string_view agent) {
    return root / "Integrations/Agents" / (std::string(agent) + ".json");
}

Application::Application(fs::path root, Pictures pictures)
    : root_(std::move(root)), pictures_(std::move(pictures)) {}

nlohmann::json Application::answer(const nlohmann::json& request,
                                   std::string_view requestID) const {
    try {
        checkClient(request);
        const auto operation = textMember(request, "operation").value_or("");
        if (operation != "resolve")
            throw Refusal("The operation \"" + std::string(operation) + "\" is unknown.");
        nlohmann::json answer = resolve(request);
        answer.update({{"version", 1}, {"requestID", requestID}, {"ok", true}});
        return answer;
    } catch (const Refusal& refusal) {
        return standin::refusal(requestID, refusal.what());
    }
}

void Application::checkClient(const nlohmann::json& request) const {
    if (integerMember(request, "version") != 1)
        throw Refusal("This version of the Tandem Link is not understood.");
    const auto agent = textMember(request, "agent").value_or("");
    const auto credential = textMember(request, "credential").value_or("");
    if (!isAgent(agent) || !fs::exists(manifestPath(root_, agent)))
        throw Refusal("This agent is not registered with Sorvane.");
    const auto manifest = HelperIO::readJSON<AgentManifest>(manifestPath(root_, agent));
    if (textMember(request, "clientID") != manifest.clientID ||
        HelperIO::sha256(credential) != manifest.credentialHash)
        throw Refusal("This client is not registered with Sorvane.");
}

nlohmann::json Application::resolve(const nlohmann::json& request) const {
    const nlohmann::json* attachments = anyMember(request, "attachments");
    const auto workspace = textMember(request, "workspaceRoot").value_or("");
    if (attachments == nullptr || !attachments->is_array() || attachments->empty())
        return noMatch();

    std::vector<const Picture*> found;
    for (const nlohmann::json& identity : *attachments) {
        const Picture* picture = identity.is_object() ? pictures_.find(identity) : nullptr;
        if (picture == nullptr) return noMatch();
        found.push_back(picture);
    }
    try {
        nlohmann::json images = nlohmann::json::array();
        for (const Picture* picture : found) images.push_back(imageIn(workspace, *picture));
        return {{"matched", true}, {"images", images}};
    } catch (const std::exception& failure) {
        std::cerr << "sorvane-standin: no match: " << failure.what() << std::endl;
        return noMatch();
    }
}

} // namespace sorvane::standin
