#pragma once

namespace sorvane::doctor {

/// Whether a descriptor is a terminal that takes more than lines of text: not when TERM is "dumb"
/// or missing.
bool isTerminal(int descriptor);

/// Whether output there may be coloured: such a terminal, and NO_COLOR is not set.
bool takesColour(int descriptor);

} // namespace sorvane::doctor
