// A decoder without its confinement, for many files in one process: to start one for every file
// takes the sanitizers minutes. Reads a length in eight bytes and a file, as often as they come,
// and answers each with the line that the program would write, or with an empty one.

#include <cstdint>
#include <cstdio>
#include <new>
#include <optional>
#include <variant>
#include <vector>

#include <unistd.h>

#include "decoder/pixel_identity.h"
#include "tests/decoder/memory_file.h"

using namespace sorvane;

namespace {

std::optional<std::vector<std::uint8_t>> nextFile() {
    std::uint64_t length = 0;
    if (std::fread(&length, sizeof length, 1, stdin) != 1) return std::nullopt;
    std::vector<std::uint8_t> content(length);
    if (std::fread(content.data(), 1, content.size(), stdin) != length) return std::nullopt;
    return content;
}

std::string answerTo(int file) {
    try {
        decoder::ByteSource source(file);
        auto answer = decoder::pixelIdentity(source);
        if (const auto* late = answer ? std::get_if<LateOrientation>(&*answer) : nullptr) {
            ::lseek(file, 0, SEEK_SET);
            decoder::ByteSource again(file);
            answer = decoder::pixelIdentity(again, *late);
        }
        return answer ? decoderAnswer(*answer) : "\n";
    } catch (const std::bad_alloc&) {
        return "\n";
    }
}

} // namespace

int main() {
    const test::MemoryFile file;
    while (const auto content = nextFile()) {
        std::fputs(answerTo(file.holding(*content)).c_str(), stdout);
        std::fflush(stdout);
    }
}
