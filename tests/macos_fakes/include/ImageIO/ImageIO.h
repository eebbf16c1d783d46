#pragma once

// The part of ImageIO that the macOS twins use, by the names and signatures of its public
// documentation, for tests on other systems.

#include <CoreGraphics/CoreGraphics.h>

extern "C" {

using CGImageSourceRef = struct FakeImageSource*;

extern const CFStringRef kCGImagePropertyPixelWidth;
extern const CFStringRef kCGImagePropertyPixelHeight;
extern const CFStringRef kCGImagePropertyOrientation;
extern const CFStringRef kCGImagePropertyProfileName;
extern const CFStringRef kCGImageSourceCreateThumbnailFromImageAlways;
extern const CFStringRef kCGImageSourceCreateThumbnailWithTransform;
extern const CFStringRef kCGImageSourceThumbnailMaxPixelSize;

CGImageSourceRef CGImageSourceCreateWithData(CFDataRef data, CFDictionaryRef options);
CFStringRef CGImageSourceGetType(CGImageSourceRef source);
CFDictionaryRef CGImageSourceCopyPropertiesAtIndex(CGImageSourceRef source, std::size_t index,
                                                   CFDictionaryRef options);
CGImageRef CGImageSourceCreateThumbnailAtIndex(CGImageSourceRef source, std::size_t index,
                                               CFDictionaryRef options);
}
