#include "identity/decoder_process.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <doctest/doctest.h>

#include "tests/children.h"
#include "tests/forked.h"

using namespace sorvane;

namespace {

constexpr std::string_view refused = "a piece of another length";

// From here on the system refuses to send anything of this piece's length.
bool refuse(std::string_view piece, std::uint32_t error) {
    // Both machines that are tested are little-endian: an argument's lower half comes first.
    constexpr std::uint32_t lengthArgument =
        offsetof(seccomp_data, args) + 2 * sizeof(std::uint64_t);
    sock_filter filter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_sendto, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, lengthArgument),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(piece.size()), 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program{sizeof filter / sizeof filter[0], filter};
    return ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program, 0, 0) == 0;
}

} // namespace

TEST_CASE("a decoder that did not get a piece of the file is killed, and nothing is answered") {
    for (const int error : {ENOBUFS, ENOMEM, EIO}) {
        CAPTURE(error);
        CHECK(test::inForkedChild([&] {
                  DecoderProcess decoder("fake_decoders/answers_right");
                  if (!refuse(refused, static_cast<std::uint32_t>(error))) return false;
                  decoder.write("before");
                  const bool started = test::hasChild();
                  decoder.write(refused);
                  const bool killed = test::hasNoChild();
                  decoder.write("after");
                  return started && killed && !decoder.answer();
              }) == 0);
    }
}

TEST_CASE("a decoder that has gone may have answered before") {
    for (const int error : {EPIPE, ECONNRESET, ENOTCONN}) {
        CAPTURE(error);
        CHECK(test::inForkedChild([&] {
                  DecoderProcess decoder("fake_decoders/answers_right");
                  if (!refuse(refused, static_cast<std::uint32_t>(error))) return false;
                  decoder.write("before");
                  decoder.write(refused);
                  return decoder.answer().has_value();
              }) == 0);
    }
}
