// SPDX-License-Identifier: MIT
// The probe against the real server over emulated receivers. How much is lost depends on the
// machine and is left open; where a carrier is, does not.
#include "Loopback.h"
#include "ProbeProcess.h"
#include "ServerProcess.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <fstream>

namespace feedline::test {
namespace {

using Json = nlohmann::json;

struct Receiver {
    const char* device;
    int type;
    const char* name;
    double rate;
};

void PrintTo(const Receiver& receiver, std::ostream* out) {
    *out << receiver.name;
}

// What the independent reader finds in a recording.
Json carrierOf(const std::string& name) {
    const std::string command = std::string(READER " '") + name + "'";
    std::string text;
    std::array<char, 4096> part{};
    FILE* const pipe = popen(command.c_str(), "r");
    while (std::fgets(part.data(), part.size(), pipe) != nullptr)
        text += part.data();
    EXPECT_EQ(pclose(pipe), 0) << command;
    return Json::parse(text, nullptr, false);
}

class ProbeWithServer : public ::testing::TestWithParam<Receiver> {
protected:
    ProbeWithServer() {
        {
            const ReservedPort free;
            port = free.number();
        }
        std::ofstream(folder.file("scene"))
            << "carrier 100.050M -20\ncarrier 99.9M -45\nnoise -129\n";
        server.emplace(ServerProcess::Launch{
            .settings = {port, GetParam().type, "127.0.0.1"},
            .environment = {{"FEEDLINE_EMULATOR_DEVICES", GetParam().device},
                            {"FEEDLINE_EMULATOR_SCENE", folder.file("scene")},
                            // Slow enough to be followed when every access is checked.
                            {"FEEDLINE_EMULATOR_SPEED", "0.1"}}});
    }

    std::string address() const { return "127.0.0.1:" + std::to_string(port); }

    // The summary of a run of two seconds, tuned 50 kHz below the carrier.
    Json stream(std::vector<std::string> more) {
        const std::string rate = std::to_string(static_cast<int>(GetParam().rate));
        std::vector<std::string> arguments{"stream", address(),   "--wait", "60",     "--timeout",
                                           "60",     "--tune",    "100M",   "--json", "--rate",
                                           rate,     "--seconds", "2",      "--bind", "127.0.0.1"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        ProbeProcess probe(arguments);
        const int status = probe.wait();
        Json summary = probe.jsonLines().empty() ? Json() : probe.jsonLines().back();
        EXPECT_EQ(status, summary.value("lost", 0) == 0 ? 0 : 1) << probe.error();
        return summary;
    }

    TemporaryFolder folder;
    std::uint16_t port = 0;
    std::optional<ServerProcess> server;
};

TEST_P(ProbeWithServer, Info) {
    ProbeProcess probe({"info", address(), "--wait", "60", "--timeout", "60", "--json"});
    ASSERT_EQ(probe.wait(), 0) << probe.error();
    const Json info = probe.jsonLines().at(0);
    EXPECT_EQ(info["target"], GetParam().name);
    EXPECT_EQ(info["serial"], "123456789");
    EXPECT_EQ(info["item_0x0004"], 123);
    EXPECT_EQ(info["status"], 11);
}

TEST_P(ProbeWithServer, FindsTheCarrierAndStopsTheReceiver) {
    const Json summary = stream({});
    EXPECT_EQ(summary["target"], GetParam().name);
    EXPECT_GT(summary["datagrams"], 0);
    EXPECT_EQ(summary["malformed"], 0);
    EXPECT_EQ(summary["duplicated"], 0);
    ASSERT_TRUE(summary["carrier"].is_object());
    EXPECT_NEAR(summary["carrier"]["frequency_hz"].get<double>(), 100.05e6, 100);
    ProbeProcess after({"info", address(), "--wait", "60", "--timeout", "60", "--json"});
    ASSERT_EQ(after.wait(), 0) << after.error();
    EXPECT_EQ(after.jsonLines().at(0)["status"], 11);
}

TEST_P(ProbeWithServer, RecordingsHoldTheCarrier) {
    for (const char* name : {"a.sigmf-meta", "a.wav"}) {
        const Json summary = stream({"--record", folder.file(name)});
        const Json read = carrierOf(folder.file(name));
        ASSERT_TRUE(read.is_object());
        EXPECT_EQ(read["pairs"], summary["recording"]["pairs"]);
        EXPECT_EQ(read["sample_rate"], GetParam().rate);
        EXPECT_NEAR(read["offset"].get<double>(), 50e3, GetParam().rate / 8192);
        EXPECT_NEAR(read["level_dbfs"].get<double>(), summary["carrier"]["level_dbfs"], 2);
        if (!read["frequency"].is_null()) {
            EXPECT_EQ(read["frequency"], 100000000);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Receivers, ProbeWithServer,
                         ::testing::Values(Receiver{"hf", 0, "AirSpyHF+", 768000},
                                           Receiver{"airspy", 1, "AirSpy", 2500000}));

} // namespace
} // namespace feedline::test
