#pragma once

// A header with Apple's names of points and rectangles is taken for Objective-C by the formatter,
// unless it ends in another way.
#include <CoreGraphics/CoreGraphics.hpp>
