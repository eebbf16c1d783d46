#pragma once

#include <cstdint>
#include <map>
#include <string>

#include <ImageIO/ImageIO.h>

#include "tests/macos_fakes/fake_system.h"

// What the references of the frameworks refer to.

struct FakeBoolean : sorvane::test::macos::Object {
    explicit FakeBoolean(bool truth) : Object("CFBoolean"), value(truth) { constant = true; }
    bool value;
};

struct FakeString : sorvane::test::macos::Object {
    explicit FakeString(std::u32string content) : Object("CFString"), text(std::move(content)) {}
    std::u32string text;
};

struct FakeData : sorvane::test::macos::Object {
    FakeData() : Object("CFData") {}
    std::string bytes;
};

struct FakeNumber : sorvane::test::macos::Object {
    explicit FakeNumber(double number) : Object("CFNumber"), value(number) {}
    double value;
};

struct FakeDictionary : sorvane::test::macos::Object {
    FakeDictionary() : Object("CFDictionary") {}
    std::map<const void*, const void*> entries;
};

struct FakeNotificationCenter : sorvane::test::macos::Object {
    FakeNotificationCenter() : Object("CFNotificationCenter") { constant = true; }
};

struct FakeImageSource : sorvane::test::macos::Object {
    FakeImageSource() : Object("CGImageSource") {}
};

struct FakeImage : sorvane::test::macos::Object {
    FakeImage() : Object("CGImage") {}
};

struct FakeColorSpace : sorvane::test::macos::Object {
    FakeColorSpace() : Object("CGColorSpace") {}
};

struct FakeContext : sorvane::test::macos::Object {
    FakeContext() : Object("CGContext") {}
    std::uint8_t* frame = nullptr;
    std::size_t bytes = 0;
};

namespace sorvane::test::macos {

/// The text in UTF-8.
std::string text(const FakeString& string);

/// A string of the framework's own.
struct ConstantString : FakeString {
    explicit ConstantString(std::string_view name)
        : FakeString(std::u32string(name.begin(), name.end())) {
        constant = true;
    }
};

/// "none", or the entries in braces, in the order of their keys' names.
std::string described(const FakeDictionary* dictionary);

} // namespace sorvane::test::macos
