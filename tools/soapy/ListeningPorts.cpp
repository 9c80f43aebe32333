// SPDX-License-Identifier: MIT
#include "tools/soapy/ListeningPorts.h"

#include "tools/client/Addresses.h"
#include "tools/client/UniqueFd.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <netinet/in.h>
#include <sys/socket.h>

namespace feedline::soapy {

namespace {

constexpr auto everywhere = "127.0.0.1";

// One line of the tables below: local address as 32-bit words in the host's order of bytes, local
// port, and the state, of which 0A is listening.
struct Entry {
    std::array<std::uint32_t, 4> words{};
    unsigned port = 0;
    bool listens = false;
};

std::optional<Entry> readFour(const char* line) {
    Entry entry;
    unsigned state = 0;
    if (std::sscanf(line, " %*u: %8X:%4X %*8X:%*4X %2X", &entry.words[0], &entry.port, &state) != 3)
        return std::nullopt;
    entry.listens = state == 0x0A;
    return entry;
}

std::optional<Entry> readSix(const char* line) {
    Entry entry;
    auto& words = entry.words;
    unsigned state = 0;
    if (std::sscanf(line, " %*u: %8X%8X%8X%8X:%4X %*32[0-9A-F]:%*4X %2X", &words[0], &words[1],
                    &words[2], &words[3], &entry.port, &state) != 6)
        return std::nullopt;
    entry.listens = state == 0x0A;
    return entry;
}

std::string dottedWord(std::uint32_t word) {
    sockaddr_in address{};
    std::memcpy(&address.sin_addr, &word, sizeof word);
    return word == 0 ? everywhere : client::dotted(address);
}

// An IPv6 socket takes IPv4 connections when it listens on all addresses or on a mapped one.
std::optional<std::string> asFour(const Entry& entry) {
    const auto& words = entry.words;
    if (words[0] != 0 || words[1] != 0)
        return std::nullopt;
    if (words[2] == 0 && words[3] == 0)
        return everywhere;
    return words[2] == htonl(0xFFFF) ? std::optional(dottedWord(words[3])) : std::nullopt;
}

// Nothing is known when the table cannot be read.
enum class Known { no, yes };

Known look(std::uint16_t port, std::optional<std::string>& found) {
    std::string line;
    std::ifstream four("/proc/net/tcp");
    if (!std::getline(four, line))
        return Known::no;
    while (!found && std::getline(four, line))
        if (const auto entry = readFour(line.c_str());
            entry && entry->listens && entry->port == port)
            found = dottedWord(entry->words[0]);
    std::ifstream six("/proc/net/tcp6");
    while (!found && std::getline(six, line))
        if (const auto entry = readSix(line.c_str());
            entry && entry->listens && entry->port == port)
            found = asFour(*entry);
    return Known::yes;
}

// A port that another program listens on cannot be bound.
bool isTaken(std::uint16_t port) {
    const client::UniqueFd fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int on = 1; // Connections that have ended are no listeners.
    setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(port);
    local.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return bind(fd.get(), reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0 &&
           errno == EADDRINUSE;
}

} // namespace

std::optional<std::string> listeningAddress(std::uint16_t port) {
    std::optional<std::string> found;
    if (look(port, found) == Known::no && isTaken(port))
        found = everywhere;
    return found;
}

} // namespace feedline::soapy
