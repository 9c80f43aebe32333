// SPDX-License-Identifier: MIT
#include "EmulatorControl.h"

#include "Waiting.h"

#include <array>
#include <chrono>
#include <cstring>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>

namespace feedline::test {
namespace {

std::string valueIn(const std::string& list, const std::string& name) {
    std::istringstream entries(list);
    for (std::string entry; entries >> entry;)
        if (entry.starts_with(name + "="))
            return entry.substr(name.size() + 1);
    return {};
}

} // namespace

EmulatorControl::EmulatorControl(std::string socketPath) : path_(std::move(socketPath)) {
    until([this] { return tryToConnect(); }, "connecting to " + path_);
}

bool EmulatorControl::tryToConnect() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path_.size() >= sizeof address.sun_path)
        throw std::runtime_error("too long a path: " + path_);
    std::memcpy(address.sun_path, path_.c_str(), path_.size());
    socket_ = OwnedDescriptor(checked(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"));
    return connect(socket_.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
}

std::string EmulatorControl::tell(const std::string& command) {
    const std::string line = command + "\n";
    if (send(socket_.get(), line.data(), line.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(line.size()))
        throw std::runtime_error(command + ": the emulator has gone");
    const std::string reply = readLine(command);
    if (!reply.starts_with("ok"))
        throw std::runtime_error(command + ": " + reply);
    return reply.size() > 3 ? reply.substr(3) : "";
}

std::string EmulatorControl::readLine(const std::string& command) const {
    constexpr int limit = static_cast<int>(std::chrono::milliseconds(longestWait).count());
    std::string reply;
    std::array<char, 1024> buffer{};
    while (reply.empty() || reply.back() != '\n') {
        const ssize_t got = readable(socket_.get(), limit)
                                ? recv(socket_.get(), buffer.data(), buffer.size(), 0)
                                : 0;
        if (got <= 0)
            throw std::runtime_error(command + ": no reply");
        reply.append(buffer.data(), static_cast<std::size_t>(got));
    }
    reply.pop_back();
    return reply;
}

std::string EmulatorControl::value(const std::string& device, const std::string& name) {
    return valueIn(tell("state " + device), name);
}

long long EmulatorControl::number(const std::string& device, const std::string& name) {
    return std::stoll(value(device, name));
}

long long EmulatorControl::calls(const std::string& device, unsigned code) {
    const std::string count = valueIn(tell("calls " + device), std::to_string(code));
    return count.empty() ? 0 : std::stoll(count);
}

void EmulatorControl::until(const std::function<bool()>& condition, const std::string& what) {
    if (!waitUntil(condition))
        throw std::runtime_error("in vain: " + what);
}

} // namespace feedline::test
