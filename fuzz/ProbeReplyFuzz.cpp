// SPDX-License-Identifier: MIT
// Longest input: 512 bytes.
// Reaches: what the probe makes of a server's answers. The first byte chooses the question, the
// rest is all the server ever says, then it closes. An answer is taken only if it is one: the
// message whole by its first byte, of the answering type, with the item that was asked for and the
// length that it must have; anything else is one Failure.
//
// Leaves out: connecting, which is done here by putting one end of a pair of sockets in place of
// the connection, and the time a silent server is given.
#include "Require.h"
#include "tools/client/ControlClient.h"
#include "tools/client/Failure.h"

#include <array>
#include <optional>
#include <span>
#include <sys/socket.h>
#include <unistd.h>

namespace {

using namespace feedline::client;
using feedline::fuzz::require;
using Bytes = std::span<const std::uint8_t>;

Bytes spoken;

/// The parameters of the answer to the item, if the server's bytes begin with one.
std::optional<Bytes> answerTo(unsigned item) {
    if (spoken.size() < 2)
        return std::nullopt;
    std::size_t length = spoken[0] == 0 ? 8194 : spoken[0];
    if (length < 4 || length > spoken.size() || spoken[1] >= 0x20 || spoken[2] != item ||
        spoken[3] != 0)
        return std::nullopt;
    return spoken.subspan(4, length - 4);
}

std::string textOf(Bytes parameters) {
    std::string text;
    for (const std::uint8_t byte : parameters) {
        if (byte == 0)
            break;
        text += static_cast<char>(byte);
    }
    return text;
}

std::uint32_t wordOf(Bytes parameters) {
    return parameters[1] | parameters[2] << 8U | parameters[3] << 16U |
           static_cast<std::uint32_t>(parameters[4]) << 24U;
}

/// Asks; nothing when that ended in a Failure.
template <typename Ask>
auto asked(Ask ask) -> std::optional<decltype(ask())> {
    try {
        return ask();
    } catch (const Failure&) {
        return std::nullopt;
    }
}

void question(ControlClient& client, unsigned which) {
    if (which < 2) {
        const auto text =
            asked([&] { return which == 0 ? client.targetName() : client.serialNumber(); });
        const auto answer = answerTo(which + 1);
        require(text.has_value() == answer.has_value(), "an answer is taken and nothing else");
        require(!text || *text == textOf(*answer), "the text that was said");
    } else if (which == 2) {
        const auto value = asked([&] { return client.item0004(); });
        const auto answer = answerTo(4);
        const bool good = answer && answer->size() == 2;
        require(value.has_value() == good, "two bytes are taken and nothing else");
        require(!value || *value == (*answer)[0] + 256 * (*answer)[1], "the value that was said");
    } else if (which == 3) {
        const auto value = asked([&] { return client.status(); });
        const auto answer = answerTo(5);
        const bool good = answer && answer->size() == 1;
        require(value.has_value() == good, "one byte is taken and nothing else");
        require(!value || *value == (*answer)[0], "the status that was said");
    } else {
        const auto rate = asked([&] { return client.sampleRate(); });
        const auto answer = answerTo(0xB8);
        require(!rate || !*rate || (answer && answer->size() == 5 && **rate == wordOf(*answer)),
                "the rate that was said");
    }
}

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker gives these names.
extern "C" int __wrap_connect(int socket, const sockaddr*, socklen_t) {
    std::array<int, 2> ends{};
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0)
        return -1;
    require(send(ends[1], spoken.data(), spoken.size(), MSG_NOSIGNAL) ==
                static_cast<ssize_t>(spoken.size()),
            "room for what is said");
    shutdown(ends[1], SHUT_WR);
    dup2(ends[0], socket);
    close(ends[0]);
    // The other end stays open until the next round, or the question could not be sent.
    static int open = -1;
    if (open >= 0)
        close(open);
    open = ends[1];
    return 0;
}
// NOLINTEND(bugprone-reserved-identifier)

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    spoken = {data + 1, size - 1};
    ControlClient client({"127.0.0.1", 50000, ""}, {Seconds(5), Seconds(0)});
    question(client, data[0] % 5);
    return 0;
}
