#include "support/sha256.h"

#include <stdexcept>

#include <sys/mman.h>

#include <doctest/doctest.h>

#include "tests/macos_fakes/fake_system.h"

using namespace sorvane;
using test::macos::FakeSystem;

namespace {

/// Memory that is there only as long as nobody looks.
class Unread {
  public:
    explicit Unread(std::size_t size)
        : size_(size),
          start_(::mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1,
                        0)) {
        if (start_ == MAP_FAILED) throw std::runtime_error("no address space");
    }
    Unread(const Unread&) = delete;
    Unread& operator=(const Unread&) = delete;
    ~Unread() { ::munmap(start_, size_); }

    std::string_view bytes() const { return {static_cast<const char*>(start_), size_}; }

  private:
    std::size_t size_;
    void* start_;
};

} // namespace

TEST_CASE("a digest is 64 lower-case hexadecimal digits, whatever the pieces") {
    FakeSystem fake;
    CHECK(Sha256().hex() == "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    Sha256 digest;
    digest.update("a");
    digest.update("");
    digest.update("bc");
    CHECK(digest.hex() == "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST_CASE("more than 32 bits can count is digested in several pieces") {
    FakeSystem fake;
    fake.digests = false;
    const std::size_t pieces = 2 * std::size_t{0xFFFF'FFFF};
    const Unread memory(pieces + 5);
    Sha256 digest;
    digest.update(memory.bytes().substr(0, 0xFFFF'FFFF));
    CHECK(fake.digestedLengths == std::vector<std::uint32_t>{0xFFFF'FFFF});
    fake.digestedLengths.clear();
    digest.update(memory.bytes());
    CHECK(fake.digestedLengths == std::vector<std::uint32_t>{0xFFFF'FFFF, 0xFFFF'FFFF, 5});
}
