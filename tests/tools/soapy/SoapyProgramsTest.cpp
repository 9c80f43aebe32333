// SPDX-License-Identifier: MIT
// Programs as they are installed, with the module of the build tree, on the real server.
#include "EmulatedServer.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>
#include <cstdio>
#include <string>

namespace feedline::test {
namespace {

struct Outcome {
    int status;
    std::string output;
};

// With the module under test alone: others look for devices in the network.
Outcome execute(const std::string& command) {
    const std::string all =
        "SOAPY_SDR_ROOT=/nonexistent SOAPY_SDR_PLUGIN_PATH='" MODULES "' " + command + " 2>&1";
    Outcome outcome{};
    std::array<char, 4096> part{};
    FILE* const pipe = popen(all.c_str(), "r");
    while (std::fgets(part.data(), part.size(), pipe) != nullptr)
        outcome.output += part.data();
    outcome.status = pclose(pipe);
    return outcome;
}

std::string deviceAt(const EmulatedServer& server) {
    return "'driver=feedline,wait=60,port=" + std::to_string(server.port()) + "'";
}

bool has(const Outcome& outcome, const char* words) {
    return outcome.output.find(words) != std::string::npos;
}

TEST(SoapyPrograms, UtilityFindsAServer) {
    const EmulatedServer server(receiverHf);
    const Outcome found = execute("SoapySDRUtil --find=" + deviceAt(server));
    EXPECT_EQ(found.status, 0);
    EXPECT_TRUE(has(found, ("label = Feedline " + server.address()).c_str())) << found.output;
}

TEST(SoapyPrograms, UtilityProbesTheReceiver) {
    const EmulatedServer server(receiverAirspy, {.devices = "airspy"});
    const Outcome probed = execute("SoapySDRUtil --probe=" + deviceAt(server));
    EXPECT_EQ(probed.status, 0);
    EXPECT_TRUE(has(probed, "hardware=AirSpy\n")) << probed.output;
    EXPECT_TRUE(has(probed, "Sample rates: 2.5 MSps")) << probed.output;
    EXPECT_TRUE(has(probed, "Native format: CS16 [full-scale=32768]")) << probed.output;
    EXPECT_TRUE(has(probed, "Full freq range: [24, 1800] MHz")) << probed.output;
}

TEST(SoapyPrograms, PythonHearsTheCarrier) {
    const EmulatedServer server(receiverHf);
    const Outcome heard = execute(PYTHON " '" CARRIER "' " + deviceAt(server) + " 7.1e6");
    ASSERT_EQ(heard.status, 0) << heard.output;
    const auto carrier = nlohmann::json::parse(heard.output, nullptr, false);
    ASSERT_TRUE(carrier.is_object()) << heard.output;
    EXPECT_EQ(carrier["sample_rate"], hfRate);
    EXPECT_NEAR(carrier["frequency"].get<double>(), 7.15e6, hfRate / 8192);
    EXPECT_NEAR(carrier["level_dbfs"].get<double>(), -20, 1.5);
}

} // namespace
} // namespace feedline::test
