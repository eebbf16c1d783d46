#include "hook/prompt_hook_observation.h"

#include "integration/helper_paths.h"
#include "support/helper_io.h"

namespace sorvane {

std::filesystem::path PromptHookObservation::url(std::string_view agent) {
    return HelperPaths().agentFile(agent, "-hook-state.json");
}

void PromptHookObservation::record(std::string_view clientID, std::string_view agent,
                                   std::int64_t attachmentCount, std::int64_t referenceCount,
                                   std::string_view outcome) noexcept try {
    const PromptHookObservation observation{std::string(clientID), ReferenceClock::now(),
                                            attachmentCount, referenceCount, std::string(outcome)};
    HelperIO::writeJSON(observation, url(agent));
} catch (...) {
    // The prompt matters, its trace does not.
}

} // namespace sorvane
