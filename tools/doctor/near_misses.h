#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace sorvane::doctor {

/// A piece of a prompt that was likely meant for an image reference and is none.
struct NearMiss {
    std::string text; ///< as it stands, shortened
    std::string reason;
};

/// More of them help nobody.
inline constexpr std::size_t maxNearMisses = 100;

/// The first near misses of a prompt, in their order: whatever begins with "sorvane:" in any case
/// and is no reference as the hook reads them.
std::vector<NearMiss> nearMisses(std::string_view prompt);

} // namespace sorvane::doctor
