// SPDX-License-Identifier: MIT
// The vendors' own programs on the emulated receivers: nothing in the emulator is made for us
// alone.
#include "TemporaryFolder.h"

#include <gmock/gmock.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/wait.h>

using feedline::test::TemporaryFolder;
using testing::HasSubstr;

namespace {

struct Ran {
    int status = -1;
    std::string text;
};

Ran run(const std::string& devices, const std::string& command) {
    const std::string line =
        "LD_LIBRARY_PATH=" EMULATOR_FOLDER " FEEDLINE_EMULATOR_DEVICES=" + devices +
        " timeout 60 " + command + " 2>&1";
    Ran ran;
    FILE* pipe = popen(line.c_str(), "r");
    if (pipe == nullptr)
        return ran;
    std::array<char, 1024> buffer{};
    while (fgets(buffer.data(), buffer.size(), pipe) != nullptr)
        ran.text += buffer.data();
    ran.status = WEXITSTATUS(pclose(pipe));
    return ran;
}

} // namespace

TEST(VendorTools, AirspyhfInfoDescribesTheHf) {
    const Ran ran = run("hf", AIRSPYHF_INFO);
    EXPECT_EQ(ran.status, 0);
    EXPECT_THAT(ran.text, HasSubstr("S/N: 0x3B52EB5DAC35398D"));
    EXPECT_THAT(ran.text, HasSubstr("Firmware Version: R1.0.0-EMULATED"));
    EXPECT_THAT(ran.text, HasSubstr("768 kS/s 384 kS/s 192 kS/s"));
}

TEST(VendorTools, AirspyhfInfoFindsNothingWhereNothingIs) {
    EXPECT_THAT(run("none", AIRSPYHF_INFO).text, HasSubstr("No devices attached"));
}

TEST(VendorTools, AirspyhfRxReceives) {
    const TemporaryFolder folder;
    const Ran ran =
        run("hf", AIRSPYHF_RX " -f 7.1 -a 768000 -n 500000 -r " + folder.file("samples"));
    EXPECT_EQ(ran.status, 0) << ran.text;
    EXPECT_EQ(folder.size("samples"), 500000U * 8);
}

TEST(VendorTools, AirspyInfoDescribesTheAirspy) {
    const Ran ran = run("airspy", AIRSPY_INFO);
    EXPECT_EQ(ran.status, 0);
    EXPECT_THAT(ran.text, HasSubstr("Serial Number: 0x644064DC2F4A9BCD"));
    EXPECT_THAT(ran.text, HasSubstr("Firmware Version: AirSpy EMULATED v1.0.0"));
    EXPECT_THAT(ran.text, HasSubstr("10.000000 MSPS"));
    EXPECT_THAT(ran.text, HasSubstr("2.500000 MSPS"));
}

TEST(VendorTools, AirspyRxReceivesPlainAndPacked) {
    for (const char* packing : {"0", "1"}) {
        const TemporaryFolder folder;
        const Ran ran = run("airspy", std::string(AIRSPY_RX " -f 100 -a 2500000 -t 0 -p ") +
                                          packing + " -n 1000000 -r " + folder.file("samples"));
        EXPECT_EQ(ran.status, 0) << ran.text;
        EXPECT_EQ(folder.size("samples"), 1000000U * 8) << packing;
    }
}

TEST(VendorTools, ABadSettingIsReportedInOneLine) {
    const Ran ran = run("hf FEEDLINE_EMULATOR_SPEED=backwards", AIRSPYHF_INFO);
    EXPECT_EQ(ran.status, 0);
    EXPECT_THAT(ran.text, HasSubstr("feedline emulator: FEEDLINE_EMULATOR_SPEED: neither a factor "
                                    "above 0 nor max: backwards\n"));
}

TEST(VendorTools, TheControlProgramSaysWhenNobodyListens) {
    const Ran ran = run("hf", EMULATORCTL " -s /nowhere/at/all devices");
    EXPECT_EQ(ran.status, 2);
    EXPECT_THAT(ran.text, HasSubstr("no emulator listens"));
    EXPECT_EQ(run("hf", EMULATORCTL).status, 2);
}
