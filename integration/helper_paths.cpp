#include "integration/helper_paths.h"

#include <cstdlib>
#include <string>

#include "support/absolute_path.h"
#include "support/environment.h"
#include "support/home_directory.h"

namespace sorvane {

namespace {

std::filesystem::path root() {
    if (isTesting())
        if (const char* override = std::getenv("SORVANE_APP_SUPPORT"))
            return absolutePath(override);
    return homeDirectory() / "Library/Application Support/Sorvane";
}

} // namespace

bool isTesting() { return environmentFlag("SORVANE_TESTING"); }

HelperPaths::HelperPaths()
    : appSupport(root()),
      integrations(appSupport / "Integrations"),
      requests(integrations / "PairingRequests"),
      agents(integrations / "Agents"),
      database(appSupport / "Database/history.sqlite"),
      socket(appSupport / "Runtime/sorvane.sock") {}

std::filesystem::path HelperPaths::agentFile(std::string_view agent,
                                             std::string_view suffix) const {
    // Not by operator/: an identifier that begins with a slash would replace the directory.
    std::string file = agents.native();
    file.append("/").append(agent).append(suffix);
    return file;
}

} // namespace sorvane
