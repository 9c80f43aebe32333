// SPDX-License-Identifier: MIT
#include "emulator/control/ControlSocket.h"

#include "emulator/control/Commands.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <vector>

namespace feedline::emulator {
namespace {

constexpr std::size_t longestLine = 4096;

/// A client that has asked for nothing yet, or for part of a line.
struct Client {
    int socket;
    std::string received;
};

int listener(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        return -1;
    std::memcpy(address.sun_path, path.c_str(), path.size());
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (socket < 0)
        return -1;
    unlink(path.c_str());
    if (bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(socket, 16) != 0) {
        close(socket);
        return -1;
    }
    return socket;
}

/// Replies are short; a client that does not read them is dropped.
bool reply(int socket, std::string text) {
    text += '\n';
    return send(socket, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT) ==
           static_cast<ssize_t>(text.size());
}

/// Obeys the whole lines a client has sent. False once it has gone.
bool serve(Bus& bus, Client& client) {
    std::array<char, 1024> buffer{};
    const ssize_t got = recv(client.socket, buffer.data(), buffer.size(), 0);
    if (got <= 0)
        return got < 0 && (errno == EAGAIN || errno == EINTR);
    client.received.append(buffer.data(), static_cast<std::size_t>(got));
    for (std::size_t end = 0; (end = client.received.find('\n')) != std::string::npos;) {
        if (!reply(client.socket, execute(bus, client.received.substr(0, end))))
            return false;
        client.received.erase(0, end + 1);
    }
    return client.received.size() < longestLine;
}

void acceptOne(int listening, std::vector<Client>& clients) {
    const int socket = accept4(listening, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (socket >= 0)
        clients.push_back({socket, {}});
}

void serveRound(Bus& bus, int listening, std::vector<Client>& clients) {
    std::vector<pollfd> waiting{{listening, POLLIN, 0}};
    for (const Client& client : clients)
        waiting.push_back({client.socket, POLLIN, 0});
    if (poll(waiting.data(), waiting.size(), -1) < 0)
        return;
    for (std::size_t i = clients.size(); i > 0; --i) {
        if (waiting[i].revents == 0 || serve(bus, clients[i - 1]))
            continue;
        close(clients[i - 1].socket);
        clients.erase(clients.begin() + static_cast<std::ptrdiff_t>(i - 1));
    }
    if (waiting[0].revents != 0)
        acceptOne(listening, clients);
}

[[noreturn]] void serveForEver(Bus& bus, int listening) {
    pthread_setname_np(pthread_self(), "emulator");
    std::vector<Client> clients;
    for (;;)
        serveRound(bus, listening, clients);
}

} // namespace

bool listenForCommands(Bus& bus, const std::string& path) {
    const int listening = listener(path);
    if (listening < 0)
        return false;
    // A thread starts with the mask of its maker.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    bool started = true;
    try {
        std::thread([&bus, listening] { serveForEver(bus, listening); }).detach();
    } catch (const std::system_error&) {
        close(listening);
        started = false;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return started;
}

} // namespace feedline::emulator
