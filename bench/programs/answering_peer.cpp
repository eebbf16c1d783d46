// answering_peer SOCKET LOG: plays the application for the time of a measurement. It answers every
// request with a match of one picture, without looking at what is asked, and leaves the last
// request in LOG for whoever wants to see what was asked. The stand-in checks who asks and what
// for; its own work would be measured with the hook's.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr std::string_view idMember = R"("requestID":")";
constexpr std::size_t idLength = 36;

int listenAt(const char* path) {
    const int listener = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (std::strlen(path) >= sizeof address.sun_path) return -1;
    std::strcpy(address.sun_path, path);
    const auto* generic = reinterpret_cast<const sockaddr*>(&address);
    const bool listening =
        ::bind(listener, generic, sizeof address) == 0 && ::listen(listener, SOMAXCONN) == 0;
    return listening ? listener : -1;
}

std::string readLine(int client) {
    std::string line;
    char piece[65'536];
    while (line.empty() || line.back() != '\n') {
        const ssize_t count = ::read(client, piece, sizeof piece);
        if (count <= 0) break;
        line.append(piece, static_cast<std::size_t>(count));
    }
    return line;
}

std::string answerTo(const std::string& request) {
    const auto id = request.find(idMember);
    if (id == std::string::npos) return "\n";
    return R"({"version":1,"ok":true,"matched":true,"images":[{"relativePath":".sorvane/a.png",)"
           R"("uti":"public.png","width":1,"height":1}],"requestID":")" +
           request.substr(id + idMember.size(), idLength) + "\"}\n";
}

// Whole or not at all: somebody may be waiting for it.
void keep(const std::string& request, const std::string& log) {
    const std::string unfinished = log + ".new";
    const int file = ::open(unfinished.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const bool written = ::write(file, request.data(), request.size()) >= 0;
    ::close(file);
    if (!written || std::rename(unfinished.c_str(), log.c_str()) != 0)
        std::perror("answering_peer");
}

} // namespace

int main(int count, char** arguments) {
    const int listener = count == 3 ? listenAt(arguments[1]) : -1;
    if (listener < 0) return EXIT_FAILURE;
    std::puts("listening");
    std::fflush(stdout);
    while (true) {
        const int client = ::accept(listener, nullptr, nullptr);
        if (client < 0) return EXIT_FAILURE;
        const std::string request = readLine(client);
        const std::string answer = answerTo(request);
        if (::write(client, answer.data(), answer.size()) < 0) std::perror("answering_peer");
        ::close(client);
        keep(request, arguments[2]);
    }
}
