// A server that does to its client whatever a test wants: answers properly or not at all, dies in
// the middle of a message, sends datagrams with any number, of any length, in any order.
//
// It listens on a port of its own on the loopback address, whose number is free for UDP too, and
// serves one client at a time on a thread of its own.
#pragma once

#include "protocol/ControlMessage.h"
#include "stream/DataDatagram.h"

#include <arpa/inet.h>
#include <array>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <functional>
#include <mutex>
#include <netinet/in.h>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace feedline::test {

class ScriptedServer {
public:
    using Bytes = std::vector<std::uint8_t>;
    /// The answer to one message, sent as it stands (empty: none). With `thenClose` the connection
    /// is closed after it.
    struct Answer {
        Bytes bytes;
        bool thenClose = false;
    };
    using Script = std::function<Answer(const Bytes& message)>;
    using Samples = std::array<std::int16_t, datagram::entries>;

    explicit ScriptedServer(Script script = properAnswer) : script_(std::move(script)) {
        while (!takePort()) {
        }
        thread_ = std::thread([this] { serve(); });
    }
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;
    ~ScriptedServer() {
        shutdown(listen_, SHUT_RDWR);
        hangUp();
        thread_.join();
        close(listen_);
        close(udp_);
    }

    std::uint16_t port() const { return port_; }

    /// What the real server answers with an idle HF+; sets are echoed.
    static Answer properAnswer(const Bytes& message) {
        if ((message[1] & control::typeMask) != TYPE_REQUEST_CITEM)
            return {message, false};
        switch (message[2]) {
        case itemTargetName:
            return {reply(message, {'A', 'i', 'r', 'S', 'p', 'y', 'H', 'F', '+', 0}), false};
        case itemSerialNumber:
            return {reply(message, {'1', '2', '3', '4', '5', '6', '7', '8', '9', 0}), false};
        case itemNumber0004:
            return {reply(message, {123, 0}), false};
        case itemReceiverStatus:
            return {reply(message, {11}), false};
        default:
            return {};
        }
    }

    static Bytes reply(const Bytes& message, const Bytes& parameters) {
        Bytes bytes{static_cast<std::uint8_t>(4 + parameters.size()), 0, message[2], message[3]};
        bytes.insert(bytes.end(), parameters.begin(), parameters.end());
        return bytes;
    }

    /// The messages received so far.
    std::vector<Bytes> messages() {
        const std::lock_guard lock(mutex_);
        return messages_;
    }

    /// Waits until a message with these first bytes has been answered. False after 60 s.
    bool waitForMessage(const Bytes& beginning) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(60), [&] {
            for (const Bytes& message : messages_)
                if (message.size() >= beginning.size() &&
                    std::equal(beginning.begin(), beginning.end(), message.begin()))
                    return true;
            return false;
        });
    }
    bool waitForRun() { return waitForMessage({8, 0, 0x18, 0, 0x80, 2}); }
    bool waitForStop() { return waitForMessage({8, 0, 0x18, 0, 0x80, 1}); }

    void sendDatagram(std::uint16_t number, const Samples& samples = {}) {
        std::array<std::uint8_t, datagram::size> bytes{};
        datagram::putHeader(bytes.data(), number);
        std::memcpy(bytes.data() + datagram::sampleOffset, samples.data(), datagram::sampleBytes);
        datagram::samplesToWire(bytes.data());
        sendBytes(bytes.data(), bytes.size());
    }

    void sendBytes(const std::uint8_t* bytes, std::size_t count) {
        const sockaddr_in to = loopback(port_);
        sendto(udp_, bytes, count, 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    }

    /// Ends the client's connection.
    void hangUp() {
        const std::lock_guard lock(mutex_);
        hungUp_ = true;
        if (client_ >= 0)
            shutdown(client_, SHUT_RDWR);
    }

private:
    static sockaddr_in loopback(std::uint16_t port) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(port);
        return address;
    }

    static bool bindTo(int fd, std::uint16_t port) {
        const sockaddr_in address = loopback(port);
        return bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    }

    bool takePort() {
        listen_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (!bindTo(listen_, 0) || listen(listen_, 3) != 0)
            throw std::runtime_error("no port to listen on");
        sockaddr_in local{};
        socklen_t length = sizeof local;
        getsockname(listen_, reinterpret_cast<sockaddr*>(&local), &length);
        port_ = ntohs(local.sin_port);
        udp_ = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        const int trial = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        const bool isFree = bindTo(trial, port_);
        close(trial);
        if (!isFree) {
            close(listen_);
            close(udp_);
        }
        return isFree;
    }

    void serve() {
        for (;;) {
            const int client = accept(listen_, nullptr, nullptr);
            if (client < 0)
                return;
            setClient(client);
            Bytes message;
            while (receiveMessage(client, message) && answer(client, message)) {
            }
            setClient(-1);
            close(client);
        }
    }

    void setClient(int client) {
        const std::lock_guard lock(mutex_);
        client_ = client;
        if (hungUp_ && client >= 0)
            shutdown(client, SHUT_RDWR);
    }

    static bool receiveMessage(int client, Bytes& message) {
        message.assign(control::headerSize, 0);
        if (recv(client, message.data(), message.size(), MSG_WAITALL) != 2)
            return false;
        const std::size_t length = message[0];
        message.resize(length);
        const auto rest = static_cast<ssize_t>(length - control::headerSize);
        return rest == 0 || recv(client, message.data() + control::headerSize,
                                 length - control::headerSize, MSG_WAITALL) == rest;
    }

    bool answer(int client, const Bytes& message) {
        const Answer answer = script_(message);
        send(client, answer.bytes.data(), answer.bytes.size(), MSG_NOSIGNAL);
        {
            const std::lock_guard lock(mutex_);
            messages_.push_back(message);
        }
        changed_.notify_all();
        return !answer.thenClose;
    }

    Script script_;
    int listen_ = -1;
    int udp_ = -1;
    std::uint16_t port_ = 0;
    std::mutex mutex_; ///< guards everything below
    std::condition_variable changed_;
    std::vector<Bytes> messages_;
    int client_ = -1;
    bool hungUp_ = false;
    std::thread thread_;
};

} // namespace feedline::test
