#pragma once

#include <stdexcept>

#include "decoder/input/byte_source.h"
#include "tests/decoder/bytes.h"
#include "tests/pipe.h"

namespace sorvane::test {

/// A file whose bytes wait in a pipe, which holds 64 KiB.
class InputFile {
  public:
    explicit InputFile(const Bytes& content) : source_(pipe_.reader.get()) {
        if (::write(pipe_.writer.get(), content.data(), content.size()) !=
            static_cast<ssize_t>(content.size()))
            throw std::runtime_error("the pipe is full");
        pipe_.writer.reset();
    }

    decoder::ByteSource& source() { return source_; }

  private:
    Pipe pipe_;
    decoder::ByteSource source_;
};

} // namespace sorvane::test
