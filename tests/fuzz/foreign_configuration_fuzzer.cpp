// Configurations of coding agents under libFuzzer: whatever they hold, they are read or rejected,
// and their commands are split. The first byte picks the agent, and whether the text is TOML.

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string_view>

#include "tools/doctor/codex_trust.h"
#include "tools/doctor/hook_call.h"
#include "tools/doctor/hook_entries.h"
#include "tools/doctor/near_misses.h"

using namespace sorvane::doctor;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string_view text(reinterpret_cast<const char*>(data + 1), size - 1);
    const Agent& agent = agents[data[0] / 2 % agents.size()];
    const char* file = data[0] % 2 == 0 ? "/x/hooks.json" : "/x/config.toml";
    nearMisses(text);
    hookCall(text, "/home/ada");
    try {
        const auto configuration = readHookConfiguration(agent, file, text);
        for (const HookEntry& entry : configuration.entries) {
            hookCall(entry.command, "/home/ada");
            codexTrust(configuration.states, file, entry);
        }
    } catch (const std::runtime_error&) {
        // Rejected, as it should be.
    }
    return 0;
}
