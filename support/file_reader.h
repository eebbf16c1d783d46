#pragma once

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>

#include "support/unique_descriptor.h"

namespace sorvane {

/// Reads regular files, and only those: a directory, FIFO, socket or device is a read failure like
/// a missing file. So a read waits for nothing but the file system (a disk, a network, a file that
/// has to be fetched from a cloud first). Failures are thrown as std::system_error, whose text is
/// one line with the file's path and the system's reason.
class FileReader {
  public:
    /// Opens the file.
    explicit FileReader(const std::filesystem::path& path);

    /// Fills the beginning of `piece` with the file's next bytes and returns their number; fewer
    /// than the piece holds only at the end of the file.
    std::size_t read(std::span<char> piece);

    /// Goes back to the file's beginning. False: the system cannot.
    bool rewind();

    /// All that is left of the file.
    std::string readAll();

  private:
    [[noreturn]] void fail(int reason) const;

    std::filesystem::path path_;
    UniqueDescriptor descriptor_;
};

/// The whole content of a file.
std::string readFile(const std::filesystem::path& path);

} // namespace sorvane
