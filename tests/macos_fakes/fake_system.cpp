#include "tests/macos_fakes/fake_system.h"

#include <stdexcept>

#include <doctest/doctest.h>

namespace sorvane::test::macos {

namespace {

FakeSystem* here = nullptr;

} // namespace

FakeSystem::FakeSystem() { here = this; }

FakeSystem::~FakeSystem() {
    for (const auto& object : objects_)
        if (object->references > 0) faults.emplace_back(object->kind + " was never released");
    for (const std::string& fault : faults) FAIL_CHECK(fault);
    here = nullptr;
}

FakeSystem& FakeSystem::current() { return *here; }

bool FakeSystem::called(const std::string& function, const std::string& detail) {
    calls.push_back(function + '(' + detail + ')');
    if (function == throwing) throw std::logic_error(function);
    return !failing.contains(function);
}

void FakeSystem::retain(const Object* object) {
    if (object->constant) return;
    // The frameworks hand their objects out as constants and count in them all the same.
    ++const_cast<Object*>(object)->references;
}

void FakeSystem::release(const Object* object) {
    check(object, "CFRelease");
    if (object->constant) {
        faults.emplace_back("CFRelease of a constant");
        return;
    }
    if (--const_cast<Object*>(object)->references != 0) return;
    for (const Object* held : object->holds) release(held);
}

void FakeSystem::check(const Object* object, const char* function) {
    if (object == nullptr) throw std::logic_error(std::string(function) + " of nothing");
    if (object->references <= 0)
        faults.push_back(std::string(function) + " of a " + object->kind + " after its end");
}

} // namespace sorvane::test::macos
