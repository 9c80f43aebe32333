// The tests' own ends of sockets, all on the loopback address. What cannot be set up throws; every
// wait ends after a generous time, so that a failing test ends too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace feedline::test {

using Bytes = std::vector<std::uint8_t>;

/// "04 20 05 00".
std::string hex(std::span<const std::uint8_t> bytes);

class OwnedDescriptor {
public:
    explicit OwnedDescriptor(int descriptor = -1) : descriptor_(descriptor) {}
    OwnedDescriptor(OwnedDescriptor&& other) noexcept
        : descriptor_(std::exchange(other.descriptor_, -1)) {}
    OwnedDescriptor& operator=(OwnedDescriptor&& other) noexcept {
        std::swap(descriptor_, other.descriptor_);
        return *this;
    }
    ~OwnedDescriptor() { close(); }

    int get() const { return descriptor_; }
    void close();

private:
    int descriptor_;
};

/// A TCP port that nobody else gets while this lives, and that a listener which asks for the reuse
/// of addresses can have: it is bound here, likewise, but not listened on.
class ReservedPort {
public:
    ReservedPort();
    std::uint16_t number() const { return number_; }
    std::string text() const { return std::to_string(number_); }

    /// From now on nobody can have it.
    void occupy();

private:
    OwnedDescriptor socket_;
    std::uint16_t number_ = 0;
};

/// A client of the control port.
class ControlClient {
public:
    explicit ControlClient(std::uint16_t port);

    void send(std::span<const std::uint8_t> bytes);
    std::string receive(std::size_t count); ///< exactly so many bytes, fewer at the end, in hex
    bool hasInput() const;                  ///< bytes, an end or an error, at this moment
    Bytes takeInput();                      ///< what has arrived by now
    void disconnect() { socket_.close(); }
    void finish(); ///< sends no more, and goes when the server has read everything and gone
    void reset();  ///< goes without a farewell, throwing away what is under way

private:
    OwnedDescriptor socket_;
};

/// The far end of `clientSocket`, for tests without a server. Keeps the replies' boundaries.
class ReplyPeer {
public:
    ReplyPeer();
    ReplyPeer(const ReplyPeer&) = delete;
    ReplyPeer& operator=(const ReplyPeer&) = delete;
    ~ReplyPeer();

    std::vector<std::string> take(); ///< the replies since the last call, one in hex each

private:
    OwnedDescriptor serverEnd_, clientEnd_;
};

/// A UDP socket on a port of its own.
class DatagramReceiver {
public:
    DatagramReceiver();
    std::uint16_t port() const { return port_; }
    Bytes receive(); ///< the next datagram; empty when none comes
    bool hasInput() const;

private:
    OwnedDescriptor socket_;
    std::uint16_t port_ = 0;
};

} // namespace feedline::test
