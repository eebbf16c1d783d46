#pragma once

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>

#include "support/unique_descriptor.h"

namespace sorvane {

/// Reads regular files, and only those: a directory, FIFO, socket or device is a read failure like
/// a missing file, so nothing is waited for but the file system itself (a disk, a network, a file
/// that lies in a cloud and has to be fetched first). The one way of reading a manifest, a
/// credential or an attachment. Failures are thrown as std::system_error, whose text is one line
/// that names the file and the system's reason.
class FileReader {
  public:
    explicit FileReader(const std::filesystem::path& path);

    /// Fills the beginning of `piece` with the file's next bytes and gives their number; fewer than
    /// asked for, or 0, only at the end of the file.
    std::size_t read(std::span<char> piece);

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
