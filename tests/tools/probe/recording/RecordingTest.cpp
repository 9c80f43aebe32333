// SPDX-License-Identifier: MIT
#include "tools/probe/recording/Recording.h"

#include "FileSizeLimit.h"
#include "TemporaryFolder.h"
#include "tools/probe/ExitStatus.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sndfile.h>

#include <cstring>
#include <vector>

using namespace feedline::probe;
using feedline::test::FileSizeLimit;
using feedline::test::TemporaryFolder;
using Json = nlohmann::json;
using Entries = std::vector<std::int16_t>;

namespace {

const RecordingFacts facts{768000, 7100000, "AirSpyHF+", 1'763'719'200'250'000'000};

Entries ramp(std::size_t entries) {
    Entries values(entries);
    for (std::size_t at = 0; at < entries; ++at)
        values[at] = static_cast<std::int16_t>(at * 7 - 1000);
    return values;
}

Entries littleEndianEntries(const std::string& bytes) {
    Entries values;
    for (std::size_t at = 0; at + 1 < bytes.size(); at += 2)
        values.push_back(
            static_cast<std::int16_t>(static_cast<std::uint8_t>(bytes[at]) |
                                      (static_cast<std::uint8_t>(bytes[at + 1]) << 8)));
    return values;
}

struct Wav {
    SF_INFO info{};
    Entries entries;
    explicit Wav(const std::string& name) {
        SNDFILE* file = sf_open(name.c_str(), SFM_READ, &info);
        EXPECT_NE(file, nullptr) << sf_strerror(nullptr);
        if (file == nullptr)
            return;
        entries.resize(static_cast<std::size_t>(info.frames * info.channels));
        EXPECT_EQ(sf_readf_short(file, entries.data(), info.frames), info.frames);
        sf_close(file);
    }
};

// Writes until that fails; the exit status of the failure.
ExitStatus fillDisk(Recording& recording) {
    const Entries entries = ramp(512);
    try {
        for (int block = 0; block < 100000; ++block)
            recording.write(entries);
    } catch (const Failure& failure) {
        EXPECT_NE(std::string(failure.what()).find("File too large"), std::string::npos)
            << failure.what();
        return failure.status;
    }
    return ExitStatus::success;
}

class RecordingTest : public testing::Test {
protected:
    std::unique_ptr<Recording> create(const std::string& name, bool force = false) const {
        return Recording::create(folder.file(name), force);
    }
    Json meta() const { return Json::parse(folder.content("a.sigmf-meta")); }
    TemporaryFolder folder;
};

TEST_F(RecordingTest, KnowsItsNames) {
    for (const char* name : {"a.wav", "a.sigmf", "a.sigmf-data", "b/a.sigmf-meta"})
        EXPECT_TRUE(Recording::knows(name)) << name;
    for (const char* name : {"", "a", ".wav", ".sigmf", "a.mp3", "a.wav.gz"})
        EXPECT_FALSE(Recording::knows(name)) << name;
}

TEST_F(RecordingTest, SigmfHoldsTheSamplesAndWhatTheyMean) {
    const auto recording = create("a.sigmf");
    recording->begin(facts);
    recording->write(ramp(512));
    recording->annotate(128, 256, "datagrams lost");
    recording->finish();
    EXPECT_EQ(littleEndianEntries(folder.content("a.sigmf-data")), ramp(512));
    EXPECT_EQ(meta()["global"]["core:datatype"], "ci16_le");
    EXPECT_EQ(meta()["global"]["core:version"], "1.0.0");
    EXPECT_EQ(meta()["global"]["core:sample_rate"], 768000);
    EXPECT_EQ(meta()["global"]["core:hw"], "AirSpyHF+");
    EXPECT_EQ(meta()["captures"][0]["core:sample_start"], 0);
    EXPECT_EQ(meta()["captures"][0]["core:frequency"], 7100000);
    EXPECT_EQ(meta()["captures"][0]["core:datetime"], "2025-11-21T10:00:00.250000Z");
    ASSERT_EQ(meta()["annotations"].size(), 1U);
    EXPECT_EQ(meta()["annotations"][0]["core:sample_start"], 128);
    EXPECT_EQ(meta()["annotations"][0]["core:sample_count"], 256);
    EXPECT_EQ(meta()["annotations"][0]["core:label"], "datagrams lost");
    EXPECT_FALSE(folder.has("a.sigmf-meta.part"));
}

TEST_F(RecordingTest, SigmfCanBeReadBeforeItIsFinished) {
    const auto recording = create("a.sigmf-data");
    EXPECT_EQ(meta()["captures"].size(), 0U);
    recording->begin(facts);
    EXPECT_EQ(meta()["captures"].size(), 1U);
}

TEST_F(RecordingTest, WavHoldsTheSamples) {
    const auto recording = create("a.wav");
    recording->begin(facts);
    recording->write(ramp(512));
    recording->write(ramp(512));
    recording->finish();
    const Wav wav(folder.file("a.wav"));
    EXPECT_EQ(wav.info.samplerate, 768000);
    EXPECT_EQ(wav.info.channels, 2);
    EXPECT_EQ(wav.info.format, SF_FORMAT_WAVEX | SF_FORMAT_PCM_16);
    EXPECT_EQ(wav.info.frames, 512);
    EXPECT_TRUE(std::equal(wav.entries.begin(), wav.entries.begin() + 512, ramp(512).begin()));
    EXPECT_TRUE(folder.content("a.wav").starts_with("RIFF"));
}

TEST_F(RecordingTest, ExistingFilesAreKept) {
    for (const char* name : {"a.wav", "a.sigmf"}) {
        create(name);
        try {
            create(name);
            FAIL() << name;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.status, ExitStatus::outputFailed);
            EXPECT_NE(std::string(failure.what()).find("--force"), std::string::npos);
        }
    }
}

TEST_F(RecordingTest, ExistingDescriptionIsKeptAndNoDataFileLeft) {
    create("a.sigmf");
    std::filesystem::remove(folder.file("a.sigmf-data"));
    EXPECT_THROW(create("a.sigmf"), Failure);
    EXPECT_FALSE(folder.has("a.sigmf-data"));
    EXPECT_TRUE(folder.has("a.sigmf-meta"));
}

TEST_F(RecordingTest, ForceOverwrites) {
    for (const int length : {512, 256}) {
        const auto recording = create("a.sigmf", true);
        recording->begin(facts);
        recording->write(ramp(static_cast<std::size_t>(length)));
        recording->finish();
    }
    EXPECT_EQ(folder.size("a.sigmf-data"), 512U);
}

TEST_F(RecordingTest, NoSuchFolder) {
    EXPECT_THROW(create("nowhere/a.wav"), Failure);
    EXPECT_THROW(create("nowhere/a.sigmf"), Failure);
}

TEST_F(RecordingTest, DiscardLeavesNothing) {
    create("a.wav")->discard();
    create("b.sigmf")->discard();
    EXPECT_TRUE(folder.empty());
}

// A limit that cuts a sample in two.
TEST_F(RecordingTest, FullDiskLeavesAValidSigmf) {
    const auto recording = create("a.sigmf");
    recording->begin(facts);
    {
        const FileSizeLimit limit(100001);
        EXPECT_EQ(fillDisk(*recording), ExitStatus::outputFailed);
        recording->finish();
    }
    EXPECT_EQ(folder.size("a.sigmf-data"), 100000U);
    EXPECT_EQ(meta()["global"]["core:sample_rate"], 768000);
}

TEST_F(RecordingTest, FullDiskLeavesAValidWav) {
    const auto recording = create("a.wav");
    recording->begin(facts);
    {
        const FileSizeLimit limit(100001);
        EXPECT_EQ(fillDisk(*recording), ExitStatus::outputFailed);
        recording->finish();
    }
    const Wav wav(folder.file("a.wav"));
    EXPECT_EQ(wav.info.channels, 2);
    EXPECT_GT(wav.info.frames, (100000 - 512) / 4);
    EXPECT_LE(wav.info.frames, 25000);
    const Entries expected = ramp(512);
    for (std::size_t at = 0; at < wav.entries.size(); ++at)
        ASSERT_EQ(wav.entries[at], expected[at % 512]) << at;
}

} // namespace
