#include "decoder/confinement/confinement.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <doctest/doctest.h>

#include "decoder/memory_limit.h"
#include "decoder/pixel_identity.h"
#include "tests/forked.h"

using namespace sorvane;
using namespace std::chrono_literals;

namespace {

template<class Body>
int inConfinement(const Body& body) {
    return test::inForkedChild([&] {
        decoder::limitTime(5s);
        decoder::prepareLibraries();
        decoder::confine(decoder::maxMemory);
        return body();
    });
}

template<class Body>
bool isKilledFor(const Body& body) {
    const int status = inConfinement([&] {
        body();
        return true;
    });
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGSYS;
}

} // namespace

TEST_CASE("a confined process reads, writes, and takes the memory that it may take") {
    CHECK(inConfinement([] {
              char byte = 0;
              const bool reads = ::read(-1, &byte, 1) < 0 && errno == EBADF;
              const bool writes = ::write(-1, &byte, 1) < 0 && errno == EBADF;
              void* volatile memory = ::operator new(decoder::maxMemory);
              return reads && writes && memory != nullptr;
          }) == 0);
}

TEST_CASE("a confined process sorts much at once") {
    CHECK(inConfinement([] {
              std::array<int, 4096> numbers{};
              numbers[0] = 1;
              std::qsort(numbers.data(), numbers.size(), sizeof(int),
                         [](const void* one, const void* other) {
                             return *static_cast<const int*>(one) - *static_cast<const int*>(other);
                         });
              return numbers.back() == 1;
          }) == 0);
}

TEST_CASE("a confined process is refused more memory than that, by an exception") {
    CHECK(inConfinement([] {
              constexpr std::size_t baselineMemory = std::size_t{96} << 20;
              try {
                  return ::operator new(decoder::maxMemory + baselineMemory) == nullptr;
              } catch (const std::bad_alloc&) {
                  return true;
              }
          }) == 0);
}

TEST_CASE("a confined process that asks for anything else is killed") {
    CHECK(isKilledFor([] { ::open("/dev/null", O_RDONLY); }));
    CHECK(isKilledFor([] { ::socket(AF_UNIX, SOCK_STREAM, 0); }));
    CHECK(isKilledFor([] { ::fork(); }));
    CHECK(isKilledFor([] { std::thread([] {}).join(); }));
    CHECK(isKilledFor([] { ::dup(0); }));
    CHECK(isKilledFor([] { ::getppid(); }));
    CHECK(isKilledFor([] { ::kill(::getppid(), 0); }));
    CHECK(isKilledFor(
        [] { ::mmap(nullptr, 4096, PROT_READ | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0); }));
}
