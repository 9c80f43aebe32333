// SPDX-License-Identifier: MIT
// Sound at four bits a sample, which a page can decode without any help from the browser.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace feedline::hub::web {

/// Adaptive differential PCM with the step table and the prediction of the IMA's recommendation
/// of 1992. A block begins with the state it is to be decoded from, so that a listener can begin
/// with any block and a lost one costs no more than itself:
///
/// | bytes | content |
/// |---|---|
/// | 2 | predicted sample, signed, little-endian |
/// | 1 | index into the step table, 0 to 88 |
/// | 1 | 0 |
/// | n/2 | codes of 4 bits, the first sample's in the low half |
///
/// Not synchronised.
class AdpcmEncoder {
public:
    static constexpr std::size_t headerBytes = 4;
    static constexpr std::size_t bytesOf(std::size_t samples) {
        return headerBytes + (samples + 1) / 2;
    }

    /// Appends one block to `out`.
    /// @param sound  -1 to 1; what lies outside is cut off. Each sample is held for half a byte;
    /// the
    ///               last half byte of an odd number is 0.
    void encode(std::span<const float> sound, std::vector<std::uint8_t>& out);

private:
    std::uint8_t code(int sample);

    int predicted_ = 0;
    int index_ = 0;
};

/// Appends the samples of one block, 16 bits each; as many as `samples` says. False when the block
/// is too short for them or its header is none.
bool decodeAdpcm(std::span<const std::uint8_t> block, std::size_t samples,
                 std::vector<std::int16_t>& out);

} // namespace feedline::hub::web
