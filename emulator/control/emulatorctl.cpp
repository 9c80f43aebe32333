// SPDX-License-Identifier: MIT
// Sends one command to a running emulator and prints its reply.
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

constexpr int refused = 1;
constexpr int unusable = 2;

int usage() {
    std::fputs("usage: feedline-emulatorctl [-s SOCKET] COMMAND [WORD...]\n"
               "  The socket is FEEDLINE_EMULATOR_CONTROL's unless -s gives one.\n"
               "  Commands: devices; state, calls, forget, plug, unplug, claim, release, silence,\n"
               "  resume, reset DEVICE; fail, delay, hang DEVICE POINT ...; speed FACTOR|max\n",
               stderr);
    return unusable;
}

int connected(const char* path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (std::strlen(path) >= sizeof address.sun_path)
        return -1;
    std::memcpy(address.sun_path, path, std::strlen(path));
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (socket >= 0 && connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0)
        return socket;
    return -1;
}

std::string ask(int socket, const std::string& line) {
    std::string reply;
    if (send(socket, line.data(), line.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(line.size()))
        return reply;
    std::array<char, 4096> buffer{};
    while (reply.empty() || reply.back() != '\n') {
        const ssize_t got = recv(socket, buffer.data(), buffer.size(), 0);
        if (got <= 0)
            break;
        reply.append(buffer.data(), static_cast<std::size_t>(got));
    }
    return reply;
}

} // namespace

int main(int count, char** arguments) {
    const char* path = std::getenv("FEEDLINE_EMULATOR_CONTROL");
    int first = 1;
    if (count > 2 && std::strcmp(arguments[1], "-s") == 0) {
        path = arguments[2];
        first = 3;
    }
    if (path == nullptr || first >= count)
        return usage();
    const int socket = connected(path);
    if (socket < 0) {
        std::fprintf(stderr, "feedline-emulatorctl: no emulator listens on %s\n", path);
        return unusable;
    }
    std::string line;
    for (int i = first; i < count; ++i)
        line.append(i == first ? "" : " ").append(arguments[i]);
    const std::string reply = ask(socket, line + "\n");
    std::fputs(reply.c_str(), stdout);
    return reply.starts_with("ok") ? EXIT_SUCCESS : refused;
}
