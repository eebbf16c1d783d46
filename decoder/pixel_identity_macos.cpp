// From a file to the digest of its picture, by the system's own reader: ImageIO decides what a
// picture is and sets it upright, CoreGraphics draws it in sRGB.

#include "decoder/pixel_identity.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include <CoreGraphics/CoreGraphics.h>
#include <ImageIO/ImageIO.h>

#include "decoder/digest_prefix.h"
#include "support/core_foundation.h"
#include "support/sha256.h"

namespace sorvane::decoder {

namespace {

// The input may be any file, a film as well: what has no type by these bytes is no picture, and the
// rest is not read.
constexpr std::size_t typeSize = 65'536;

// One uncompressed picture of the whole budget, four channels of 32 bits, takes half of this.
constexpr CFIndex maxFile = CFIndex{2} << 30;

constexpr std::size_t firstImage = 0;
constexpr std::size_t bitsPerChannel = 8;
constexpr std::size_t bytesPerPixel = 4;

// In memory: red, green, blue, alpha, the colours multiplied by alpha.
constexpr std::uint32_t rgbaPremultiplied =
    std::uint32_t{kCGImageAlphaPremultipliedLast} | std::uint32_t{kCGBitmapByteOrder32Big};
static_assert(rgbaPremultiplied == 0x4001);

bool mayHaveType(ByteSource& file) {
    const std::string_view beginning = file.peek(typeSize);
    if (beginning.size() < typeSize) return true;
    const CFOwner data(::CFDataCreateMutable(nullptr, 0));
    if (!data) return false;
    ::CFDataAppendBytes(data.get(), reinterpret_cast<const UInt8*>(beginning.data()),
                        static_cast<CFIndex>(beginning.size()));
    const CFOwner source(::CGImageSourceCreateWithData(data.get(), nullptr));
    return source && ::CGImageSourceGetType(source.get()) != nullptr;
}

// Nothing for a file that is too large.
CFOwner<CFMutableDataRef> wholeFile(ByteSource& file) {
    CFOwner<CFMutableDataRef> data(::CFDataCreateMutable(nullptr, 0));
    for (auto piece = file.takePiece(); !piece.empty() && data; piece = file.takePiece()) {
        const auto count = static_cast<CFIndex>(piece.size());
        if (::CFDataGetLength(data.get()) > maxFile - count)
            return CFOwner<CFMutableDataRef>(nullptr);
        ::CFDataAppendBytes(data.get(), piece.data(), count);
    }
    return data;
}

std::optional<std::int64_t> integer(CFDictionaryRef properties, CFStringRef key) {
    const CFTypeRef value = ::CFDictionaryGetValue(properties, key);
    if (value == nullptr || ::CFGetTypeID(value) != ::CFNumberGetTypeID()) return std::nullopt;
    std::int64_t number = 0;
    // Fails for a number that is not whole: it would have been rounded.
    if (::CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &number) == 0)
        return std::nullopt;
    return number;
}

std::optional<Size> sizeWithinBudget(std::uint64_t width, std::uint64_t height) {
    if (!withinPixelBudget(width, height)) return std::nullopt;
    return Size{static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)};
}

// As the file declares it, before its orientation is applied.
std::optional<Size> declaredSize(CGImageSourceRef source) {
    const CFOwner properties(::CGImageSourceCopyPropertiesAtIndex(source, firstImage, nullptr));
    if (!properties) return std::nullopt;
    const auto width = integer(properties.get(), kCGImagePropertyPixelWidth);
    const auto height = integer(properties.get(), kCGImagePropertyPixelHeight);
    if (!width || !height) return std::nullopt;
    // A negative side is one far over the budget.
    return sizeWithinBudget(static_cast<std::uint64_t>(*width),
                            static_cast<std::uint64_t>(*height));
}

// The whole picture, turned upright, which the reader does for a "thumbnail" only: one as large as
// the picture, and never the preview that a file may contain.
CFOwner<CGImageRef> uprightImage(CGImageSourceRef source, Size declared) {
    const std::int64_t maxSide = std::max(declared.width, declared.height);
    const CFOwner limit(::CFNumberCreate(nullptr, kCFNumberSInt64Type, &maxSide));
    if (!limit) return CFOwner<CGImageRef>(nullptr);
    std::array<const void*, 3> keys{kCGImageSourceCreateThumbnailFromImageAlways,
                                    kCGImageSourceCreateThumbnailWithTransform,
                                    kCGImageSourceThumbnailMaxPixelSize};
    std::array<const void*, 3> values{kCFBooleanTrue, kCFBooleanTrue, limit.get()};
    const CFOwner options(::CFDictionaryCreate(nullptr, keys.data(), values.data(), keys.size(),
                                               &kCFTypeDictionaryKeyCallBacks,
                                               &kCFTypeDictionaryValueCallBacks));
    if (!options) return CFOwner<CGImageRef>(nullptr);
    return CFOwner(::CGImageSourceCreateThumbnailAtIndex(source, firstImage, options.get()));
}

// Draws the image into a frame of its size, row by row from the top. False: nothing was drawn.
bool draw(CGImageRef image, Size size, std::uint8_t* frame) {
    const CFOwner space(::CGColorSpaceCreateWithName(kCGColorSpaceSRGB));
    if (!space) return false;
    const CFOwner context(::CGBitmapContextCreate(frame, size.width, size.height, bitsPerChannel,
                                                  size.width * bytesPerPixel, space.get(),
                                                  rgbaPremultiplied));
    if (!context) return false;
    ::CGContextSetInterpolationQuality(context.get(), kCGInterpolationNone);
    ::CGContextDrawImage(context.get(), CGRectMake(0, 0, size.width, size.height), image);
    return true;
}

std::optional<std::string> digestOf(CGImageRef image) {
    // The decoded size counts from here on, not the declared one.
    const auto size = sizeWithinBudget(::CGImageGetWidth(image), ::CGImageGetHeight(image));
    if (!size) return std::nullopt;
    std::vector<std::uint8_t> frame(bytesPerPixel * size->width * size->height);
    if (!draw(image, *size, frame.data())) return std::nullopt;
    Sha256 digest;
    digest.update(digestPrefix(*size));
    digest.update({reinterpret_cast<const char*>(frame.data()), frame.size()});
    return digest.hex();
}

// Its first 255 bytes: names are short.
std::string text(CFStringRef string) {
    std::array<UInt8, 255> bytes{};
    CFIndex count = 0;
    ::CFStringGetBytes(string, {0, ::CFStringGetLength(string)}, kCFStringEncodingUTF8, 0, 0,
                       bytes.data(), bytes.size(), &count);
    return {bytes.begin(), bytes.begin() + count};
}

std::string line(const std::string& key, const std::string& value) {
    return key + ' ' + value + '\n';
}

} // namespace

void prepareLibraries() {}

// The address space of the system's own reader is not limited.
std::uint64_t pixelIdentityMemory(ByteSource& /*file*/) { return 0; }

// The system's reader knows the orientation from the whole file: none is told.
std::optional<DecoderAnswer> pixelIdentity(ByteSource& file,
                                           std::optional<LateOrientation> /*told*/) {
    if (!mayHaveType(file)) return std::nullopt;
    const auto data = wholeFile(file);
    if (!data) return std::nullopt;
    const CFOwner source(::CGImageSourceCreateWithData(data.get(), nullptr));
    if (!source) return std::nullopt;
    const auto declared = declaredSize(source.get());
    if (!declared) return std::nullopt;
    const auto image = uprightImage(source.get(), *declared);
    if (!image) return std::nullopt;
    auto digest = digestOf(image.get());
    if (!digest) return std::nullopt;
    return PixelIdentity{std::move(*digest), declared->width, declared->height};
}

std::string explanation(ByteSource& file) {
    constexpr auto noFormat = "reason no image format that the system knows\n";
    if (!mayHaveType(file)) return noFormat;
    const auto data = wholeFile(file);
    if (!data) return "reason the file is too large\n";
    const CFOwner source(::CGImageSourceCreateWithData(data.get(), nullptr));
    const CFStringRef type = source ? ::CGImageSourceGetType(source.get()) : nullptr;
    if (type == nullptr) return noFormat;
    std::string lines = line("format", text(type));
    const CFOwner properties(
        ::CGImageSourceCopyPropertiesAtIndex(source.get(), firstImage, nullptr));
    if (!properties) return lines + "reason the file's header is damaged\n";
    const auto width = integer(properties.get(), kCGImagePropertyPixelWidth);
    const auto height = integer(properties.get(), kCGImagePropertyPixelHeight);
    if (!width || !height) return lines + "reason the file does not declare its size\n";
    lines += line("size", std::to_string(*width) + ' ' + std::to_string(*height));
    const auto orientation = integer(properties.get(), kCGImagePropertyOrientation);
    lines += line("orientation", std::to_string(orientation.value_or(1)));
    const CFTypeRef profile = ::CFDictionaryGetValue(properties.get(), kCGImagePropertyProfileName);
    lines += line("colour", profile != nullptr && ::CFGetTypeID(profile) == ::CFStringGetTypeID()
                                ? text(static_cast<CFStringRef>(profile))
                                : "untagged");
    const auto declared = declaredSize(source.get());
    if (!declared)
        return lines + line("reason", "more than " + std::to_string(pixelBudget) + " pixels");
    const auto image = uprightImage(source.get(), *declared);
    if (!image || !digestOf(image.get())) return lines + "reason the picture is damaged\n";
    return lines;
}

} // namespace sorvane::decoder
