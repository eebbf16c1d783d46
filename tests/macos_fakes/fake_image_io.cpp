#include <algorithm>
#include <array>
#include <cstdio>

#include "tests/macos_fakes/fake_objects.h"

using namespace sorvane::test::macos;

namespace {

const ConstantString srgb("sRGB");
const ConstantString displayP3("Display P3");
const ConstantString pixelWidth("PixelWidth");
const ConstantString pixelHeight("PixelHeight");
const ConstantString orientation("Orientation");
const ConstantString profileName("ProfileName");
const ConstantString type("public.png");
const ConstantString fromImageAlways("ThumbnailFromImageAlways");
const ConstantString withTransform("ThumbnailWithTransform");
const ConstantString maxPixelSize("ThumbnailMaxPixelSize");

FakeSystem& fake() { return FakeSystem::current(); }

const Object* declared(const Picture::Declared& value) {
    if (const auto* whole = std::get_if<std::int64_t>(&value))
        return fake().adopt(std::make_unique<FakeNumber>(static_cast<double>(*whole)));
    if (const auto* number = std::get_if<double>(&value))
        return fake().adopt(std::make_unique<FakeNumber>(*number));
    if (const auto* text = std::get_if<std::string>(&value))
        return fake().adopt(
            std::make_unique<FakeString>(std::u32string(text->begin(), text->end())));
    return nullptr;
}

std::string hexadecimal(std::uint32_t value) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%x", value);
    return text.data();
}

std::string rounded(double value) { return std::to_string(static_cast<long>(value)); }

} // namespace

extern "C" {

const CFStringRef kCGColorSpaceSRGB = &srgb;
const CFStringRef kCGColorSpaceDisplayP3 = &displayP3;
const CFStringRef kCGImagePropertyPixelWidth = &pixelWidth;
const CFStringRef kCGImagePropertyPixelHeight = &pixelHeight;
const CFStringRef kCGImagePropertyOrientation = &orientation;
const CFStringRef kCGImagePropertyProfileName = &profileName;
const CFStringRef kCGImageSourceCreateThumbnailFromImageAlways = &fromImageAlways;
const CFStringRef kCGImageSourceCreateThumbnailWithTransform = &withTransform;
const CFStringRef kCGImageSourceThumbnailMaxPixelSize = &maxPixelSize;

CGImageSourceRef CGImageSourceCreateWithData(CFDataRef data, CFDictionaryRef options) {
    const std::string& bytes = fake().use(data, "CGImageSourceCreateWithData").bytes;
    if (!fake().called("CGImageSourceCreateWithData", bytes + ", " + described(options)))
        return nullptr;
    auto* source = fake().adopt(std::make_unique<FakeImageSource>());
    FakeSystem::retain(data);
    source->holds.push_back(data);
    return source;
}

CFStringRef CGImageSourceGetType(CGImageSourceRef source) {
    fake().check(source, "CGImageSourceGetType");
    return fake().called("CGImageSourceGetType", "") ? &type : nullptr;
}

CFDictionaryRef CGImageSourceCopyPropertiesAtIndex(CGImageSourceRef source, std::size_t index,
                                                   CFDictionaryRef options) {
    fake().check(source, "CGImageSourceCopyPropertiesAtIndex");
    if (!fake().called("CGImageSourceCopyPropertiesAtIndex",
                       std::to_string(index) + ", " + described(options)))
        return nullptr;
    auto* properties = fake().adopt(std::make_unique<FakeDictionary>());
    for (const auto& [key, value] :
         {std::pair{kCGImagePropertyPixelWidth, declared(fake().picture.width)},
          std::pair{kCGImagePropertyPixelHeight, declared(fake().picture.height)},
          std::pair{kCGImagePropertyOrientation, declared(fake().picture.orientation)},
          std::pair{kCGImagePropertyProfileName, declared(fake().picture.profile)}}) {
        if (value == nullptr) continue;
        properties->entries[key] = value;
        properties->holds.push_back(value); // the only reference: it ends with the dictionary
    }
    return properties;
}

CGImageRef CGImageSourceCreateThumbnailAtIndex(CGImageSourceRef source, std::size_t index,
                                               CFDictionaryRef options) {
    fake().check(source, "CGImageSourceCreateThumbnailAtIndex");
    fake().check(options, "CGImageSourceCreateThumbnailAtIndex");
    if (!fake().called("CGImageSourceCreateThumbnailAtIndex",
                       std::to_string(index) + ", " + described(options)))
        return nullptr;
    return fake().adopt(std::make_unique<FakeImage>());
}

std::size_t CGImageGetWidth(CGImageRef image) {
    fake().check(image, "CGImageGetWidth");
    return fake().picture.decodedWidth;
}

std::size_t CGImageGetHeight(CGImageRef image) {
    fake().check(image, "CGImageGetHeight");
    return fake().picture.decodedHeight;
}

CGColorSpaceRef CGColorSpaceCreateWithName(CFStringRef name) {
    if (!fake().called("CGColorSpaceCreateWithName", text(*name))) return nullptr;
    return fake().adopt(std::make_unique<FakeColorSpace>());
}

CGContextRef CGBitmapContextCreate(void* data, std::size_t width, std::size_t height,
                                   std::size_t bitsPerComponent, std::size_t bytesPerRow,
                                   CGColorSpaceRef space, std::uint32_t bitmapInfo) {
    fake().check(space, "CGBitmapContextCreate");
    if (!fake().called("CGBitmapContextCreate", std::to_string(width) + " x " +
                                                    std::to_string(height) + ", " +
                                                    std::to_string(bitsPerComponent) + " bits, " +
                                                    std::to_string(bytesPerRow) + " bytes a row, " +
                                                    hexadecimal(bitmapInfo)))
        return nullptr;
    auto* context = fake().adopt(std::make_unique<FakeContext>());
    FakeSystem::retain(space);
    context->holds.push_back(space);
    context->frame = static_cast<std::uint8_t*>(data);
    context->bytes = height * bytesPerRow;
    return context;
}

void CGContextSetInterpolationQuality(CGContextRef context, CGInterpolationQuality quality) {
    fake().check(context, "CGContextSetInterpolationQuality");
    fake().called("CGContextSetInterpolationQuality", std::to_string(quality));
}

void CGContextDrawImage(CGContextRef context, CGRect rectangle, CGImageRef image) {
    fake().check(context, "CGContextDrawImage");
    fake().check(image, "CGContextDrawImage");
    fake().called("CGContextDrawImage",
                  rounded(rectangle.origin.x) + ", " + rounded(rectangle.origin.y) + ", " +
                      rounded(rectangle.size.width) + ", " + rounded(rectangle.size.height));
    if (std::any_of(context->frame, context->frame + context->bytes,
                    [](std::uint8_t byte) { return byte != 0; }))
        fake().faults.emplace_back("a frame that is not empty");
    const auto& pixels = fake().picture.pixels;
    std::copy_n(pixels.begin(), std::min(pixels.size(), context->bytes), context->frame);
}
}
