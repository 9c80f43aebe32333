// SPDX-License-Identifier: MIT
// Longest input: 1024 bytes.
// Reaches: the emulator's reader of recordings. The first byte chooses: raw pairs, which are
// checked against the bytes; a WAV file whose samples are those bytes, checked in the same way; or
// a WAV file that is the input as it stands, where all that matters is that it is read or refused.
//
// Leaves out: the library that takes WAV files apart is not instrumented, so its edges do not guide
// the fuzzer; its own project fuzzes it. What is played of a recording is the emulator's tests'.
#include "Require.h"
#include "emulator/signals/Recording.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <unistd.h>

namespace {

using feedline::emulator::Pairs;
using feedline::emulator::readRecording;
using feedline::fuzz::require;

/// Files in memory where there is such a place, made once and rewritten.
const std::string& folder() {
    static const std::string made = [] {
        std::string name = access("/dev/shm", W_OK) == 0 ? "/dev/shm/feedline-fuzz-XXXXXX"
                                                         : "/tmp/feedline-fuzz-XXXXXX";
        require(mkdtemp(name.data()) != nullptr, "a folder");
        return name;
    }();
    return made;
}

std::string store(const char* name, const std::string& content) {
    std::string path = folder() + '/' + name;
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    require(file >= 0 &&
                write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size()),
            "a file");
    close(file);
    return path;
}

void put32(std::string& to, std::uint32_t value) {
    for (unsigned shift = 0; shift < 32; shift += 8)
        to += static_cast<char>(value >> shift & 0xFFU);
}

/// Two channels of 16 bits.
std::string waveOf(const std::string& samples) {
    std::string wave = "RIFF";
    put32(wave, static_cast<std::uint32_t>(36 + samples.size()));
    wave += "WAVEfmt ";
    put32(wave, 16);
    put32(wave, 0x00020001); // PCM, two channels
    put32(wave, 768000);
    put32(wave, 4 * 768000);
    put32(wave, 0x00100004); // four bytes a frame, 16 bits a sample
    wave += "data";
    put32(wave, static_cast<std::uint32_t>(samples.size()));
    return wave + samples;
}

void requireSamples(const Pairs& pairs, const std::string& bytes) {
    require(pairs.size() == bytes.size() / 4 * 2, "as many samples as there are");
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        const unsigned low = static_cast<unsigned char>(bytes[2 * i]);
        const unsigned high = static_cast<unsigned char>(bytes[2 * i + 1]);
        require(pairs[i] == static_cast<std::int16_t>(low + 256 * high), "the same sample");
    }
}

/// Nothing to compare with where there is no pair at all: the file may be refused.
void readAndCompare(const std::string& path, const std::string& bytes) {
    try {
        requireSamples(readRecording(path), bytes);
    } catch (const std::runtime_error&) {
        require(bytes.size() < 4, "pairs that are there are read");
    }
}

void readAnything(const std::string& path) {
    try {
        require(readRecording(path).size() % 2 == 0, "whole pairs");
    } catch (
        const std::runtime_error&) { // NOLINT(bugprone-empty-catch): refused is as good as read
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    const std::string content(reinterpret_cast<const char*>(data) + 1, size - 1);
    switch (data[0] % 3) {
    case 0:
        readAndCompare(store("raw", content), content);
        break;
    case 1:
        readAndCompare(store("wave.wav", waveOf(content)), content);
        break;
    default:
        readAnything(store("any.wav", content));
        break;
    }
    return 0;
}
