#pragma once

// The part of CoreGraphics that the macOS twins use, by the names and signatures of its public
// documentation, for tests on other systems.

#include <CoreFoundation/CoreFoundation.h>
#include <cstddef>

extern "C" {

using CGFloat = double;
using CGColorSpaceRef = struct FakeColorSpace*;
using CGContextRef = struct FakeContext*;
using CGImageRef = struct FakeImage*;

struct CGPoint {
    CGFloat x;
    CGFloat y;
};
struct CGSize {
    CGFloat width;
    CGFloat height;
};
struct CGRect {
    CGPoint origin;
    CGSize size;
};
inline CGRect CGRectMake(CGFloat x, CGFloat y, CGFloat width, CGFloat height) {
    return {{x, y}, {width, height}};
}

enum CGImageAlphaInfo : std::uint32_t {
    kCGImageAlphaPremultipliedLast = 1,
    kCGImageAlphaPremultipliedFirst = 2,
};
enum CGBitmapInfo : std::uint32_t {
    kCGBitmapByteOrder32Little = 0x2000,
    kCGBitmapByteOrder32Big = 0x4000,
};
enum CGInterpolationQuality : std::int32_t {
    kCGInterpolationDefault = 0,
    kCGInterpolationNone = 1,
    kCGInterpolationLow = 2,
    kCGInterpolationHigh = 3,
};

extern const CFStringRef kCGColorSpaceSRGB;
extern const CFStringRef kCGColorSpaceDisplayP3;

CGColorSpaceRef CGColorSpaceCreateWithName(CFStringRef name);
CGContextRef CGBitmapContextCreate(void* data, std::size_t width, std::size_t height,
                                   std::size_t bitsPerComponent, std::size_t bytesPerRow,
                                   CGColorSpaceRef space, std::uint32_t bitmapInfo);
void CGContextSetInterpolationQuality(CGContextRef context, CGInterpolationQuality quality);
void CGContextDrawImage(CGContextRef context, CGRect rectangle, CGImageRef image);
std::size_t CGImageGetWidth(CGImageRef image);
std::size_t CGImageGetHeight(CGImageRef image);
}
