#include "support/unique_descriptor.h"

#include <type_traits>
#include <utility>

#include <fcntl.h>

#include <doctest/doctest.h>

using namespace sorvane;

namespace {

int newDescriptor() { return ::open("/dev/null", O_RDONLY | O_CLOEXEC); }

bool isOpen(int descriptor) { return ::fcntl(descriptor, F_GETFD) >= 0; }

} // namespace

static_assert(!std::is_copy_constructible_v<UniqueDescriptor>);
static_assert(!std::is_copy_assignable_v<UniqueDescriptor>);

TEST_CASE("a descriptor is closed at the end of its owner's life") {
    const int number = newDescriptor();
    {
        const UniqueDescriptor owner(number);
        CHECK(owner);
        CHECK(owner.get() == number);
        CHECK(isOpen(number));
    }
    CHECK_FALSE(isOpen(number));
}

TEST_CASE("an owner of nothing is false and harmless") {
    UniqueDescriptor nothing;
    CHECK_FALSE(nothing);
    CHECK(nothing.get() == -1);
    nothing.reset();
    CHECK_FALSE(UniqueDescriptor(-1));
}

TEST_CASE("descriptor 0 is a descriptor like any other") {
    const int standardInput = ::dup(0);
    UniqueDescriptor zero(0);
    CHECK(zero);
    zero.reset();
    CHECK_FALSE(isOpen(0));
    ::dup2(standardInput >= 0 ? standardInput : newDescriptor(), 0);
    if (standardInput >= 0) ::close(standardInput);
}

TEST_CASE("a moved descriptor has one owner and is not closed") {
    const int number = newDescriptor();
    UniqueDescriptor first(number);
    UniqueDescriptor second(std::move(first));
    CHECK(first.get() == -1); // NOLINT: what is left is part of the contract
    CHECK(second.get() == number);
    UniqueDescriptor third;
    third = std::move(second);
    CHECK(third.get() == number);
    CHECK(isOpen(number));
}

TEST_CASE("a descriptor that another takes the place of is closed with its last owner") {
    const int one = newDescriptor();
    const int other = newDescriptor();
    {
        UniqueDescriptor first(one);
        UniqueDescriptor second(other);
        first = std::move(second);
        CHECK(first.get() == other);
    }
    CHECK_FALSE(isOpen(one));
    CHECK_FALSE(isOpen(other));
}

TEST_CASE("a reset closes once, and never what has come under the same number since") {
    UniqueDescriptor owner(newDescriptor());
    const int number = owner.get();
    owner.reset();
    CHECK_FALSE(owner);
    CHECK_FALSE(isOpen(number));
    const UniqueDescriptor next(newDescriptor()); // the lowest free number is the one just left
    REQUIRE(next.get() == number);
    owner.reset();
    CHECK(isOpen(number));
}
