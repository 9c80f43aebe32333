// SPDX-License-Identifier: MIT
// Longest input: 1024 bytes.
// Reaches: everything that a native client of the hub can send: the framing of its bytes into
// messages, in chunks of any size, and the answer to each. Whatever comes, a message is answered
// exactly once unless it is a NAK, the answer is a whole message of a length that one byte can
// tell, and a set of a value is either echoed for its own item or refused. A stream that is no
// control stream is given up with words.
//
// Leaves out: the sockets, and the listener behind the answers.
//
// The first byte of an input is the size of its chunks.
#include "Require.h"
#include "tools/hub/native/Dialogue.h"
#include "tools/hub/native/MessageFramer.h"

#include <algorithm>

namespace {

using namespace feedline::hub;
using feedline::fuzz::require;

struct Listening final : Subject {
    std::string targetName() const override { return "AirSpyHF+"; }
    std::string serialNumber() const override { return {}; }
    bool running() const override { return runs; }
    bool run(bool running) override { return runs = running, hertz % 2 == 0; }
    void tune(std::uint32_t wanted) override { hertz = wanted; }
    std::uint32_t frequency() const override { return hertz; }
    std::uint32_t setRate(std::uint32_t wanted) override { return pairs = wanted / 200 * 200; }
    std::uint32_t rate() const override { return pairs; }

    bool runs = false;
    std::uint32_t hertz = 0;
    std::uint32_t pairs = 0;
};

bool isNak(std::span<const std::uint8_t> message) {
    return message.size() == 2 && message[0] == 2 && (message[1] & 0xE0U) == 0;
}

void judge(std::span<const std::uint8_t> message, const Dialogue::Bytes& answer) {
    if (isNak(message))
        return require(answer.empty(), "a NAK is not answered");
    require(answer.size() >= 2 && answer.size() <= 255, "an answer is a message");
    require(answer[0] == answer.size() && answer[1] == 0, "its header tells its length");
    if (!isNak(answer))
        require(answer.size() >= 4 &&
                    std::equal(answer.begin() + 2, answer.begin() + 4, message.begin() + 2),
                "an answer is about what was asked");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2)
        return 0;
    Listening listening;
    Dialogue dialogue(listening);
    std::size_t taken = 0;
    MessageFramer framer([&](std::span<const std::uint8_t> message) {
        require(message.size() >= 2 && message.size() <= MessageFramer::longest, "a whole message");
        taken += message.size();
        judge(message, dialogue.answer(message));
        return true;
    });
    std::span<const std::uint8_t> stream(data + 1, size - 1);
    const std::size_t chunk = std::max<std::size_t>(data[0], 1);
    bool wrong = false;
    while (!stream.empty() && !wrong) {
        const auto part = stream.first(std::min(chunk, stream.size()));
        wrong = !framer.add(part).empty();
        stream = stream.subspan(part.size());
    }
    require(taken <= size - 1, "nothing is taken twice");
    return 0;
}
