#include <algorithm>
#include <cstring>

#include <utf8proc.h>

#include "support/utf8.h"
#include "tests/macos_fakes/fake_objects.h"

using namespace sorvane;
using namespace sorvane::test::macos;

namespace {

const FakeBoolean trueObject(true);
const FakeBoolean falseObject(false);

const Object* object(CFTypeRef reference) { return static_cast<const Object*>(reference); }

FakeSystem& fake() { return FakeSystem::current(); }

utf8proc_int32_t codepoint(char32_t scalar) { return static_cast<utf8proc_int32_t>(scalar); }

CFIndex units(char32_t scalar) { return scalar > 0xFFFF ? 2 : 1; }

const utf8proc_property_t& property(char32_t scalar) {
    return *utf8proc_get_property(codepoint(scalar));
}

bool isPicture(char32_t scalar) {
    return property(scalar).boundclass == UTF8PROC_BOUNDCLASS_EXTENDED_PICTOGRAPHIC;
}

// By its category, or as a hint of the frameworks' own.
bool isMark(char32_t scalar) {
    const auto category = property(scalar).category;
    return category == UTF8PROC_CATEGORY_MN || category == UTF8PROC_CATEGORY_MC ||
           category == UTF8PROC_CATEGORY_ME || (scalar >= U'\uF870' && scalar <= U'\uF87F');
}

bool isSkinTone(char32_t scalar) { return scalar >= U'\U0001F3FB' && scalar <= U'\U0001F3FF'; }

// The frameworks' composed characters as they may well be: marks join whatever they follow and
// nothing else does, but a skin tone joins a picture; a joiner joins the picture that follows it;
// nothing is prepended.
bool composes(char32_t before, char32_t after, bool clustered) {
    if (isMark(after)) return true;
    if (isSkinTone(after)) return isPicture(before);
    switch (property(after).boundclass) {
    case UTF8PROC_BOUNDCLASS_EXTEND:
    case UTF8PROC_BOUNDCLASS_SPACINGMARK:
    case UTF8PROC_BOUNDCLASS_ZWJ:
        return false;
    }
    if (property(before).boundclass == UTF8PROC_BOUNDCLASS_PREPEND) return false;
    if (before == U'\u200D') return isPicture(after);
    return clustered;
}

std::string described(const void* value) {
    const Object& one = *object(value);
    std::string kind = one.kind;
    if (const auto* flag = dynamic_cast<const FakeBoolean*>(&one))
        return flag->value ? "true" : "false";
    if (const auto* number = dynamic_cast<const FakeNumber*>(&one))
        return std::to_string(static_cast<std::int64_t>(number->value));
    return kind;
}

} // namespace

namespace sorvane::test::macos {

std::string text(const FakeString& string) {
    std::string result;
    for (const char32_t scalar : string.text) utf8::append(result, scalar);
    return result;
}

std::string described(const FakeDictionary* dictionary) {
    if (dictionary == nullptr) return "no options";
    std::map<std::string, std::string> entries;
    for (const auto& [key, value] : dictionary->entries)
        entries[text(*static_cast<const FakeString*>(object(key)))] = ::described(value);
    std::string result;
    for (const auto& [key, value] : entries)
        result.append(result.empty() ? "" : ", ").append(key).append(": ").append(value);
    return '{' + result + '}';
}

} // namespace sorvane::test::macos

extern "C" {

const CFBooleanRef kCFBooleanTrue = &trueObject;
const CFBooleanRef kCFBooleanFalse = &falseObject;
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks{true};
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks{true};

void CFRelease(CFTypeRef reference) { fake().release(object(reference)); }

CFTypeID CFGetTypeID(CFTypeRef reference) {
    fake().check(object(reference), "CFGetTypeID");
    const auto& kind = object(reference)->kind;
    return kind == "CFNumber" ? CFNumberGetTypeID() : kind == "CFString" ? CFStringGetTypeID() : 1;
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef /*allocator*/, const UInt8* bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean externalRepresentation) {
    std::string_view content(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(count));
    if (encoding != kCFStringEncodingUTF8 || externalRepresentation != 0)
        fake().faults.emplace_back("a string that is not plain UTF-8");
    if (fake().failing.contains("CFStringCreateWithBytes") || !utf8::isValid(content))
        return nullptr;
    std::u32string scalars;
    while (!content.empty()) {
        const utf8::Step step = utf8::step(content);
        scalars += step.scalar;
        content.remove_prefix(step.length);
    }
    return fake().adopt(std::make_unique<FakeString>(std::move(scalars)));
}

CFMutableStringRef CFStringCreateMutableCopy(CFAllocatorRef /*allocator*/, CFIndex capacity,
                                             CFStringRef string) {
    if (capacity != 0) fake().faults.emplace_back("a string of limited capacity");
    if (fake().failing.contains("CFStringCreateMutableCopy")) return nullptr;
    return fake().adopt(std::make_unique<FakeString>(fake().use(string, "a copy").text));
}

CFIndex CFStringGetLength(CFStringRef string) {
    CFIndex length = 0;
    for (const char32_t scalar : fake().use(string, "CFStringGetLength").text)
        length += units(scalar);
    return length;
}

CFIndex CFStringGetBytes(CFStringRef string, CFRange range, CFStringEncoding encoding,
                         UInt8 lossByte, Boolean externalRepresentation, UInt8* buffer,
                         CFIndex capacity, CFIndex* used) {
    const std::string bytes = text(fake().use(string, "CFStringGetBytes"));
    if (encoding != kCFStringEncodingUTF8 || lossByte != 0 || externalRepresentation != 0 ||
        range.location != 0 || range.length != CFStringGetLength(string) ||
        static_cast<CFIndex>(bytes.size()) > capacity)
        fake().faults.emplace_back("CFStringGetBytes of something else than the whole in UTF-8");
    std::copy(bytes.begin(), bytes.end(), buffer);
    *used = static_cast<CFIndex>(bytes.size());
    return range.length;
}

// With the rule for a sigma at the end of a word, which no scalar by itself is.
void CFStringLowercase(CFMutableStringRef string, CFLocaleRef locale) {
    if (locale != nullptr) fake().faults.emplace_back("a locale");
    std::u32string lower;
    for (const char32_t scalar : fake().use(string, "CFStringLowercase").text) {
        if (scalar == U'\u0130')
            lower += U"i\u0307";
        else if (scalar == U'\u03A3' && !lower.empty())
            lower += U'\u03C2';
        else
            lower += static_cast<char32_t>(utf8proc_tolower(codepoint(scalar)));
    }
    string->text = lower;
}

CFRange CFStringGetRangeOfComposedCharactersAtIndex(CFStringRef string, CFIndex index) {
    const std::u32string& scalars = fake().use(string, "composed characters").text;
    ++fake().composedCharactersAsked;
    CFIndex begin = 0;
    CFIndex at = 0;
    utf8proc_int32_t state = 0;
    for (std::size_t i = 0; i < scalars.size(); ++i) {
        const bool clustered =
            i > 0 && !utf8proc_grapheme_break_stateful(codepoint(scalars[i - 1]),
                                                       codepoint(scalars[i]), &state);
        if (i == 0 || !composes(scalars[i - 1], scalars[i], clustered)) {
            if (at > index) break;
            begin = at;
        }
        at += units(scalars[i]);
    }
    return {begin, at - begin};
}

CFMutableDataRef CFDataCreateMutable(CFAllocatorRef /*allocator*/, CFIndex capacity) {
    if (capacity != 0) fake().faults.emplace_back("data of limited capacity");
    if (fake().failing.contains("CFDataCreateMutable")) return nullptr;
    return fake().adopt(std::make_unique<FakeData>());
}

CFIndex CFDataGetLength(CFDataRef data) {
    return static_cast<CFIndex>(fake().use(data, "CFDataGetLength").bytes.size()) +
           fake().presentBytes;
}

void CFDataAppendBytes(CFMutableDataRef data, const UInt8* bytes, CFIndex count) {
    fake().check(data, "CFDataAppendBytes");
    data->bytes.append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(count));
}

CFTypeID CFNumberGetTypeID() { return 2; }
CFTypeID CFStringGetTypeID() { return 3; }

CFNumberRef CFNumberCreate(CFAllocatorRef /*allocator*/, CFNumberType type, const void* value) {
    if (type != kCFNumberSInt64Type) fake().faults.emplace_back("a number of another type");
    if (fake().failing.contains("CFNumberCreate")) return nullptr;
    std::int64_t number = 0;
    std::memcpy(&number, value, sizeof number);
    return fake().adopt(std::make_unique<FakeNumber>(static_cast<double>(number)));
}

Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value) {
    if (type != kCFNumberSInt64Type) fake().faults.emplace_back("a number of another type");
    if (object(number)->kind != "CFNumber") {
        fake().faults.emplace_back("CFNumberGetValue of no number");
        return 0;
    }
    const double exact = fake().use(number, "CFNumberGetValue").value;
    const auto whole = static_cast<std::int64_t>(exact);
    std::memcpy(value, &whole, sizeof whole);
    return static_cast<double>(whole) == exact ? 1 : 0;
}

CFDictionaryRef CFDictionaryCreate(CFAllocatorRef /*allocator*/, const void** keys,
                                   const void** values, CFIndex count,
                                   const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks) {
    if (keyCallBacks != &kCFTypeDictionaryKeyCallBacks ||
        valueCallBacks != &kCFTypeDictionaryValueCallBacks)
        fake().faults.emplace_back("a dictionary that does not own its entries");
    if (fake().failing.contains("CFDictionaryCreate")) return nullptr;
    auto* dictionary = fake().adopt(std::make_unique<FakeDictionary>());
    for (CFIndex i = 0; i < count; ++i) {
        dictionary->entries[keys[i]] = values[i];
        for (const void* held : {keys[i], values[i]}) {
            FakeSystem::retain(object(held));
            if (!object(held)->constant) dictionary->holds.push_back(object(held));
        }
    }
    return dictionary;
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key) {
    const auto& entries = fake().use(dictionary, "CFDictionaryGetValue").entries;
    const auto entry = entries.find(key);
    return entry == entries.end() ? nullptr : entry->second;
}

CFNotificationCenterRef CFNotificationCenterGetDistributedCenter() {
    static FakeNotificationCenter center;
    return &center;
}

void CFNotificationCenterPostNotification(CFNotificationCenterRef center, CFStringRef name,
                                          const void* sender, CFDictionaryRef userInfo,
                                          Boolean deliverImmediately) {
    fake().check(center, "a post");
    fake().check(object(sender), "a post");
    fake().notifications.push_back({text(fake().use(name, "a post")),
                                    text(*static_cast<CFStringRef>(sender)), userInfo != nullptr,
                                    deliverImmediately != 0});
}
}
