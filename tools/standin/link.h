#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "support/unique_descriptor.h"

/// The application's end of the Tandem Link: one socket file, one client at a time. An interrupted
/// call is made again. Every wait ends at once, with `Stopped`, when SIGTERM or SIGINT arrives.
namespace sorvane::standin {

/// The timeout for one client: well above the 2 seconds after which a client gives up, so that a
/// silence is never ended by this side.
inline constexpr std::chrono::milliseconds timeout = std::chrono::seconds(5);

/// Thrown out of a wait when the user stops the program.
struct Stopped {};

/// A connected client. Closed with the object.
class Client {
  public:
    explicit Client(UniqueDescriptor socket);

    /// The request line with its line feed; nothing when the client closes without one.
    /// Throws std::runtime_error when it stalls or the line has no end.
    std::optional<std::string> readLine();

    /// Throws std::runtime_error when the client has gone or takes nothing more.
    void send(std::string_view bytes);

    /// Waits with the connection open, no longer than the client stays.
    void pause(std::chrono::milliseconds time);

  private:
    UniqueDescriptor socket_;
};

/// A socket file, removed with the object.
class SocketFile {
  public:
    /// Throws std::system_error.
    SocketFile(const UniqueDescriptor& socket, const std::filesystem::path& path);
    SocketFile(const SocketFile&) = delete;
    SocketFile& operator=(const SocketFile&) = delete;
    ~SocketFile();

  private:
    std::filesystem::path path_;
};

/// Takes clients, one after the other.
class Listener {
  public:
    /// Makes the directory (mode 0700) and the socket file (mode 0600), which replaces one that
    /// nobody serves any more, and handles SIGTERM and SIGINT from then on, for which reason there
    /// may be only one such object. Throws std::runtime_error.
    explicit Listener(const std::filesystem::path& path);

    Client accept();

  private:
    UniqueDescriptor socket_;
    std::optional<SocketFile> file_;
};

} // namespace sorvane::standin
