// SPDX-License-Identifier: MIT
#include "tools/probe/recording/SigmfRecording.h"

#include "tools/probe/ExitStatus.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <vector>

namespace feedline::probe {

namespace {

constexpr std::uint64_t pairBytes = 4;
// Given back by a recording that has filled the disk, for its description. A multiple of pairBytes.
constexpr std::uint64_t roomForMeta = 65536;

std::string isoTime(std::int64_t nanoseconds) {
    const std::time_t seconds = nanoseconds / 1'000'000'000;
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    std::array<char, 64> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &utc);
    std::snprintf(text.data() + length, text.size() - length, ".%06dZ",
                  static_cast<int>(nanoseconds % 1'000'000'000 / 1000));
    return text.data();
}

nlohmann::ordered_json emptyMeta() {
    return {{"global",
             {{"core:datatype", "ci16_le"},
              {"core:version", "1.0.0"},
              {"core:recorder", "feedline-probe " FEEDLINE_VERSION}}},
            {"captures", nlohmann::ordered_json::array()},
            {"annotations", nlohmann::ordered_json::array()}};
}

} // namespace

SigmfRecording::SigmfRecording(const std::string& stem, bool force)
    : data_(stem + ".sigmf-data", force), metaName_(stem + ".sigmf-meta"), meta_(emptyMeta()) {
    try {
        const OutputFile claimed(metaName_, force);
        replaceMeta();
    } catch (const Failure&) {
        data_.remove();
        throw;
    }
}

void SigmfRecording::begin(const RecordingFacts& facts) {
    meta_["global"]["core:sample_rate"] = facts.sampleRate;
    meta_["global"]["core:hw"] = facts.target;
    nlohmann::ordered_json capture{{"core:sample_start", 0},
                                   {"core:datetime", isoTime(facts.start)}};
    if (facts.frequency)
        capture["core:frequency"] = *facts.frequency;
    meta_["captures"] = {capture};
    replaceMeta();
}

void SigmfRecording::write(std::span<const std::int16_t> entries) {
    if constexpr (std::endian::native == std::endian::little) {
        data_.write(entries.data(), entries.size_bytes());
    } else {
        std::vector<std::uint16_t> swapped(entries.size());
        std::transform(entries.begin(), entries.end(), swapped.begin(), [](std::int16_t entry) {
            const auto value = static_cast<std::uint16_t>(entry);
            return static_cast<std::uint16_t>((value << 8U) | (value >> 8U));
        });
        data_.write(swapped.data(), entries.size_bytes());
    }
}

void SigmfRecording::annotate(std::uint64_t start, std::uint64_t count, const std::string& label) {
    meta_["annotations"].push_back({{"core:sample_start", start},
                                    {"core:sample_count", count},
                                    {"core:generator", "feedline-probe"},
                                    {"core:label", label}});
}

void SigmfRecording::finish() {
    data_.cutToWhole(0, pairBytes);
    try {
        replaceMeta();
    } catch (const Failure&) {
        const std::uint64_t size = data_.size();
        data_.truncate(size - std::min(size, roomForMeta));
        replaceMeta();
    }
}

void SigmfRecording::discard() {
    data_.remove();
    std::remove(metaName_.c_str());
}

// Never a half-written description under the final name.
void SigmfRecording::replaceMeta() {
    const std::string text = meta_.dump(2) + "\n";
    const std::string partName = metaName_ + ".part";
    OutputFile part(partName, true);
    try {
        part.write(text.data(), text.size());
        if (std::rename(partName.c_str(), metaName_.c_str()) != 0)
            part.fail("cannot rename", errno);
    } catch (const Failure&) {
        part.remove();
        throw;
    }
}

} // namespace feedline::probe
