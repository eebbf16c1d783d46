#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <tuple>

#include "support/date.h"
#include "support/record.h"

namespace sorvane {

/// The outcomes of a run, in the order in which it comes to them.
namespace hookOutcome {
inline constexpr std::string_view noImageIdentities = "no-image-identities";
inline constexpr std::string_view workspaceUnavailable = "workspace-unavailable";
inline constexpr std::string_view resolving = "resolving";
inline constexpr std::string_view noExactMatch = "no-exact-match";
inline constexpr std::string_view matched = "matched";
} // namespace hookOutcome

/// How far the latest run of an agent's hook got, in "<agent>-hook-state.json" of the agents
/// directory: the application shows it to a user who asks why no image arrived.
/// docs/observation.md shows a complete one and says what the outcomes mean.
struct PromptHookObservation {
    const std::string clientID;
    const Date observedAt;
    const std::int64_t attachmentCount; ///< elements of the event's list, usable or not
    const std::int64_t referenceCount;  ///< references in the prompt, repeated ones counted
    const std::string outcome;

    static constexpr auto fields() {
        return std::tuple{
            record::field("clientID", &PromptHookObservation::clientID),
            record::field("observedAt", &PromptHookObservation::observedAt),
            record::field("attachmentCount", &PromptHookObservation::attachmentCount),
            record::field("referenceCount", &PromptHookObservation::referenceCount),
            record::field("outcome", &PromptHookObservation::outcome),
        };
    }

    bool operator==(const PromptHookObservation&) const = default;

    /// Where an agent's observation lies. The identifier must have been validated.
    static std::filesystem::path url(std::string_view agent);

    /// Writes the observation of this moment, whole and for its owner only. Merely observes: a
    /// failure is swallowed and the run goes on as if it had been written.
    static void record(std::string_view clientID, std::string_view agent,
                       std::int64_t attachmentCount, std::int64_t referenceCount,
                       std::string_view outcome) noexcept;
};

} // namespace sorvane
