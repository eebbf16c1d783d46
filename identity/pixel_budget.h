#pragma once

#include <cstdint>

namespace sorvane {

/// Pictures with more pixels get no pixel identity: a prompt does not wait for them. The decoder
/// holds to it, and the hook believes no answer beyond it.
inline constexpr std::uint32_t pixelBudget = 60'000'000;

} // namespace sorvane
