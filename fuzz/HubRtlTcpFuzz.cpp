// SPDX-License-Identifier: MIT
// Longest input: 256 bytes.
// Reaches: what an rtl_tcp client can send, cut into commands in chunks of any size, and the eight
// bits that any gain and any samples become. Every five bytes are one command.
//
// Leaves out: the sockets, and the listener that the commands move.
//
// The first byte of an input is the size of its chunks; the rest is read both as commands and as
// samples.
#include "Require.h"
#include "tools/hub/rtltcp/ByteScaler.h"
#include "tools/hub/rtltcp/Command.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

namespace {

using namespace feedline::hub;
using feedline::fuzz::require;

std::size_t commandsIn(std::span<const std::uint8_t> stream, std::size_t chunk,
                       ByteScaler& scaler) {
    rtltcp::CommandReader reader;
    std::size_t commands = 0;
    while (!stream.empty()) {
        const auto part = stream.first(std::min(chunk, stream.size()));
        reader.add(part, [&](rtltcp::Command command) {
            ++commands;
            if (command.code == static_cast<std::uint8_t>(rtltcp::Code::gain))
                scaler.setGain(std::clamp(command.signedValue() / 10.0, -100.0, 100.0));
        });
        stream = stream.subspan(part.size());
    }
    return commands;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2)
        return 0;
    ByteScaler scaler;
    const std::span<const std::uint8_t> rest(data + 1, size - 1);
    require(commandsIn(rest, std::max<std::size_t>(data[0], 1), scaler) ==
                rest.size() / rtltcp::commandSize,
            "every five bytes are a command");
    std::vector<std::complex<float>> samples(rest.size() / 4);
    for (std::size_t at = 0; at < samples.size(); ++at) {
        std::int16_t pair[2];
        std::memcpy(pair, rest.data() + at * sizeof pair, sizeof pair);
        samples[at] = {pair[0] / 16384.0F, pair[1] / 16384.0F}; // A cut channel may exceed 1.
    }
    std::vector<std::uint8_t> bytes(2 * samples.size());
    scaler.convert(samples, 768000, bytes);
    return 0;
}
