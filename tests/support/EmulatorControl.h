// Run-time control of the emulated receivers, for tests: the program under test has been started
// with FEEDLINE_EMULATOR_CONTROL set to the path given here.
//
// One thread at a time. Every failure (no emulator, a refused command, a value that does not come
// in time) is a std::runtime_error that says which command it was.
#pragma once

#include <array>
#include <chrono>
#include <cstring>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace feedline::test {

class EmulatorControl {
public:
    using Duration = std::chrono::milliseconds;

    /// Connects as soon as the program has made its socket.
    explicit EmulatorControl(std::string socketPath, Duration patience = std::chrono::seconds(30))
        : path(std::move(socketPath)), limit(patience) {
        until([this] { return tryToConnect(); }, "connecting to " + path);
    }
    ~EmulatorControl() { close(socket); }
    EmulatorControl(const EmulatorControl&) = delete;
    EmulatorControl& operator=(const EmulatorControl&) = delete;

    /// Sends one command; the reply without its "ok".
    std::string tell(const std::string& command) {
        const std::string line = command + "\n";
        if (send(socket, line.data(), line.size(), MSG_NOSIGNAL) !=
            static_cast<ssize_t>(line.size()))
            throw std::runtime_error(command + ": the emulator has gone");
        const std::string reply = readLine(command);
        if (!reply.starts_with("ok"))
            throw std::runtime_error(command + ": " + reply);
        return reply.size() > 3 ? reply.substr(3) : "";
    }

    /// One value of a device's state ("frequency", "receiver-mode", "delivered" ...).
    std::string value(const std::string& device, const std::string& name) {
        return valueIn(tell("state " + device), name);
    }

    long long number(const std::string& device, const std::string& name) {
        return std::stoll(value(device, name));
    }

    /// How often a request has arrived since the last forget.
    long long calls(const std::string& device, unsigned code) {
        const std::string count = valueIn(tell("calls " + device), std::to_string(code));
        return count.empty() ? 0 : std::stoll(count);
    }

    /// Waits until the condition holds.
    void until(const std::function<bool()>& condition, const std::string& what) const {
        const auto end = std::chrono::steady_clock::now() + limit;
        while (!condition()) {
            if (std::chrono::steady_clock::now() > end)
                throw std::runtime_error("in vain: " + what);
            std::this_thread::sleep_for(Duration(2));
        }
    }

    /// Waits until a value of a device's state is the one given.
    void await(const std::string& device, const std::string& name, const std::string& expected) {
        until([&] { return value(device, name) == expected; },
              device + " " + name + "=" + expected);
    }

private:
    bool tryToConnect() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (path.size() >= sizeof address.sun_path)
            throw std::runtime_error("too long a path: " + path);
        std::memcpy(address.sun_path, path.c_str(), path.size());
        socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const timeval patience{static_cast<time_t>(limit.count() / 1000), 0};
        setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        if (connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0)
            return true;
        close(socket);
        socket = -1;
        return false;
    }

    std::string readLine(const std::string& command) {
        std::string reply;
        std::array<char, 1024> buffer{};
        while (reply.empty() || reply.back() != '\n') {
            const ssize_t got = recv(socket, buffer.data(), buffer.size(), 0);
            if (got <= 0)
                throw std::runtime_error(command + ": no reply");
            reply.append(buffer.data(), static_cast<std::size_t>(got));
        }
        reply.pop_back();
        return reply;
    }

    static std::string valueIn(const std::string& list, const std::string& name) {
        std::istringstream entries(list);
        for (std::string entry; entries >> entry;)
            if (entry.starts_with(name + "="))
                return entry.substr(name.size() + 1);
        return {};
    }

    std::string path;
    Duration limit;
    int socket = -1;
};

} // namespace feedline::test
