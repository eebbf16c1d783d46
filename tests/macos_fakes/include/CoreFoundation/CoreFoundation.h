#pragma once

// The part of CoreFoundation that the macOS twins use, by the names and signatures of its public
// documentation, for tests on other systems. What its objects are is the fake's own business.

#include <cstdint>

extern "C" {

using Boolean = unsigned char;
using UInt8 = unsigned char;
using CFIndex = long;
using CFTypeID = unsigned long;
using CFTypeRef = const void*;
using CFStringEncoding = std::uint32_t;
using CFNumberType = CFIndex;

using CFAllocatorRef = const struct FakeAllocator*;
using CFBooleanRef = const struct FakeBoolean*;
using CFDataRef = const struct FakeData*;
using CFMutableDataRef = struct FakeData*;
using CFDictionaryRef = const struct FakeDictionary*;
using CFLocaleRef = const struct FakeLocale*;
using CFNotificationCenterRef = struct FakeNotificationCenter*;
using CFNumberRef = const struct FakeNumber*;
using CFStringRef = const struct FakeString*;
using CFMutableStringRef = struct FakeString*;

struct CFRange {
    CFIndex location;
    CFIndex length;
};
inline CFRange CFRangeMake(CFIndex location, CFIndex length) { return {location, length}; }

struct CFDictionaryKeyCallBacks {
    bool retains;
};
struct CFDictionaryValueCallBacks {
    bool retains;
};

inline constexpr CFStringEncoding kCFStringEncodingUTF8 = 0x08000100;
inline constexpr CFNumberType kCFNumberSInt64Type = 4;
extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;
extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;

void CFRelease(CFTypeRef reference);
CFTypeID CFGetTypeID(CFTypeRef reference);

CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean externalRepresentation);
CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                             CFStringRef string);
CFIndex CFStringGetLength(CFStringRef string);
CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding,
                         UInt8 lossByte, Boolean externalRepresentation, UInt8* buffer,
                         CFIndex capacity, CFIndex* used);
void CFStringLowercase(CFMutableStringRef string, CFLocaleRef locale);
CFRange CFStringGetRangeOfComposedCharactersAtIndex(CFStringRef string, CFIndex index);

CFMutableDataRef CFDataCreateMutable(CFAllocatorRef allocator, CFIndex capacity);
CFIndex CFDataGetLength(CFDataRef data);
void CFDataAppendBytes(CFMutableDataRef data, const UInt8* bytes, CFIndex count);

CFTypeID CFNumberGetTypeID();
CFTypeID CFStringGetTypeID();
CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void* value);
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys, const void** values,
                                   CFIndex count, const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks);
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key);

CFNotificationCenterRef CFNotificationCenterGetDistributedCenter();
void CFNotificationCenterPostNotification(CFNotificationCenterRef center, CFStringRef name,
                                          const void* sender, CFDictionaryRef userInfo,
                                          Boolean deliverImmediately);
}
