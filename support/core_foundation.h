#pragma once

#include <string_view>
#include <utility>

#include <CoreFoundation/CoreFoundation.h>

namespace sorvane {

/// Owns one reference to a CoreFoundation object and releases it exactly once; null owns nothing.
/// For what a function with "Create" or "Copy" in its name gave, and for nothing else: what a "Get"
/// gave belongs to somebody else.
template<class Reference>
class CFOwner {
  public:
    explicit CFOwner(Reference object) : object_(object) {}
    CFOwner(CFOwner&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    CFOwner& operator=(CFOwner&& other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~CFOwner() {
        if (object_ != nullptr) ::CFRelease(object_);
    }

    Reference get() const { return object_; }
    explicit operator bool() const { return object_ != nullptr; }

  private:
    Reference object_;
};

/// A text as CoreFoundation holds it; owns nothing when the bytes are not UTF-8 or memory is short.
inline CFOwner<CFStringRef> makeCFString(std::string_view utf8) {
    return CFOwner(::CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(utf8.data()),
                                             static_cast<CFIndex>(utf8.size()),
                                             kCFStringEncodingUTF8, 0));
}

} // namespace sorvane
