// SPDX-License-Identifier: MIT
// The emulated receivers are part of whatever program uses them, which may have adopted any locale.
#include "CommaLocale.h"
#include "emulator/bus/Config.h"
#include "emulator/control/Commands.h"

#include <gmock/gmock.h>

#include <cstring>
#include <fstream>
#include <locale>

using namespace feedline::emulator;
using testing::HasSubstr;

namespace {

class HostLocale : public testing::Test {
protected:
    HostLocale() {
        comma.adopt();
        std::locale::global(std::locale(""));
    }

    /// The variable alone is set; complaints fail the test.
    static Config configOf(const char* variable, const std::string& value) {
        return readConfig(
            [&](const char* name) {
                return std::strcmp(name, variable) == 0 ? value.c_str() : nullptr;
            },
            [](const std::string& line) { ADD_FAILURE() << line; });
    }

    feedline::test::CommaLocale comma;
};

} // namespace

TEST_F(HostLocale, FractionsAreReadWithAPoint) {
    feedline::test::TemporaryFolder folder;
    std::ofstream(folder.file("scene")) << "carrier 7.150M -20.5\n";
    const Config config = configOf("FEEDLINE_EMULATOR_SCENE", folder.file("scene"));
    ASSERT_EQ(config.scene.signals.size(), 1U);
    EXPECT_EQ(config.scene.signals[0].frequency, 7150000);
    EXPECT_EQ(config.scene.signals[0].level, -20.5);
    EXPECT_EQ(configOf("FEEDLINE_EMULATOR_SPEED", "2.5").speed, 2.5);
}

TEST_F(HostLocale, StateIsWrittenWithoutSeparators) {
    Bus bus(configOf("FEEDLINE_EMULATOR_DEVICES", "airspy"));
    EXPECT_THAT(execute(bus, "state airspy"), HasSubstr(" rate=10000000 "));
    EXPECT_EQ(execute(bus, "speed 2.5"), "ok");
}
