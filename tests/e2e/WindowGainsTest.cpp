// SPDX-License-Identifier: MIT
// The real window's gain controls, moved with real events, down to the emulated receiver: the
// controller and the vendors' library in this process, over the emulated USB.
#include "EmulatorControl.h"
#include "MemoryPlatform.h"
#include "OffscreenApplication.h"
#include "RecordingLog.h"
#include "ServerProcess.h"
#include "app/RunTimeState.h"
#include "programs/WindowedServer.h"

#include <QCheckBox>
#include <QSlider>
#include <QTest>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

namespace feedline::test {
namespace {

using ::testing::ElementsAre;

// The receiver's requests.
constexpr unsigned lnaGain = 14;
constexpr unsigned mixerGain = 15;
constexpr unsigned vgaGain = 16;
constexpr unsigned lnaAgc = 17;
constexpr unsigned mixerAgc = 18;

/// Made once and kept: the emulated receivers and a running controller end with the process.
struct Attached {
    TemporaryFolder folder;
    OffscreenApplication application;
    RecordingActivities activities;
    WindowedServer server{activities};
    std::unique_ptr<EmulatorControl> emulator;

    static const Attached& make(std::int32_t type) {
        static const Attached& attached = *new Attached(type);
        return attached;
    }

    explicit Attached(std::int32_t type) {
        const std::string socket = (folder.path() / "emulator").string();
        setenv("FEEDLINE_EMULATOR_DEVICES", "hf,airspy", 1);
        setenv("FEEDLINE_EMULATOR_CONTROL", socket.c_str(), 1);
        deviceType = type;
        EXPECT_EQ(server.controller.doDeviceInit(), 0);
        emulator = std::make_unique<EmulatorControl>(socket);
        emulator->tell("forget airspy");
        clearRecordedLines();
        server.window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(server.window.get()));
    }

    QCheckBox& box(const char* name) const { return *server.window->findChild<QCheckBox*>(name); }
    void click(const char* name) const {
        QTest::mouseClick(&box(name), Qt::LeftButton, {}, QPoint(8, box(name).height() / 2));
    }
    void stepUp(const char* name) const {
        QTest::keyClick(server.window->findChild<QSlider*>(name), Qt::Key_Right);
    }
    /// How often each gain request has arrived: LNA, mixer, VGA, LNA AGC, mixer AGC.
    std::vector<long long> requests() const {
        std::vector<long long> counts;
        for (const unsigned code : {lnaGain, mixerGain, vgaGain, lnaAgc, mixerAgc})
            counts.push_back(emulator->calls("airspy", code));
        return counts;
    }
    std::string state(const char* name) const { return emulator->value("airspy", name); }
};

struct OneControl {
    const char* name;
    void (Attached::*move)(const char*) const;
    std::vector<long long> requests;
    const char* setting; ///< as the emulated receiver calls it
    const char* log;
};

void PrintTo(const OneControl& control, std::ostream* stream) {
    *stream << control.name;
}

class WindowGain : public ::testing::TestWithParam<OneControl> {};

TEST_P(WindowGain, ChangesItsOwnSettingAlone) {
    const OneControl& control = GetParam();
    const Attached& attached = Attached::make(deviceAirspy);
    (attached.*control.move)(control.name);
    EXPECT_EQ(attached.requests(), control.requests);
    EXPECT_EQ(attached.state(control.setting), "1");
    EXPECT_THAT(recordedLines(), ElementsAre(logged(control.log)));
}

INSTANTIATE_TEST_SUITE_P(Controls, WindowGain,
                         ::testing::Values(OneControl{"lnaAgcButton",
                                                      &Attached::click,
                                                      {0, 0, 0, 1, 0},
                                                      "lna-agc",
                                                      "changedGain 1 0 0 0 0 0 0"},
                                           OneControl{"mixerAgcButton",
                                                      &Attached::click,
                                                      {0, 0, 0, 0, 1},
                                                      "mixer-agc",
                                                      "changedGain 0 1 0 0 0 0 0"},
                                           OneControl{"lnaGainSlider",
                                                      &Attached::stepUp,
                                                      {1, 0, 0, 0, 0},
                                                      "lna-gain",
                                                      "changedGain 0 0 1 0 0 0 0"},
                                           OneControl{"mixerGainSlider",
                                                      &Attached::stepUp,
                                                      {0, 1, 0, 0, 0},
                                                      "mixer-gain",
                                                      "changedGain 0 0 0 1 0 0 0"},
                                           OneControl{"vgaGainSlider",
                                                      &Attached::stepUp,
                                                      {0, 0, 1, 0, 0},
                                                      "vga-gain",
                                                      "changedGain 0 0 0 0 1 0 0"}),
                         [](const auto& control) { return control.param.name; });

class WindowPreset : public ::testing::TestWithParam<const char*> {};

TEST_P(WindowPreset, SwitchesBothAgcsOffInTheReceiverWhileTheirButtonsStay) {
    const Attached& attached = Attached::make(deviceAirspy);
    for (const char* agc : {"lnaAgcButton", "mixerAgcButton"})
        attached.click(agc);
    ASSERT_EQ(attached.state("lna-agc") + attached.state("mixer-agc"), "11");
    attached.emulator->tell("forget airspy");
    attached.stepUp(GetParam());
    EXPECT_THAT(attached.requests(), ElementsAre(1, 1, 1, 1, 1));
    EXPECT_EQ(attached.state("lna-agc") + attached.state("mixer-agc"), "00");
    for (const char* agc : {"lnaAgcButton", "mixerAgcButton"})
        EXPECT_TRUE(attached.box(agc).isChecked()) << agc;
}

INSTANTIATE_TEST_SUITE_P(Presets, WindowPreset,
                         ::testing::Values("linearitySlider", "sensitivitySlider"));

TEST(WindowGains, WithTheHfSelectedNothingIsSentOrLogged) {
    const Attached& attached = Attached::make(deviceAirspyHf);
    attached.click("lnaAgcButton");
    attached.click("mixerAgcButton");
    for (const char* slider : {"lnaGainSlider", "mixerGainSlider", "vgaGainSlider",
                               "linearitySlider", "sensitivitySlider"})
        attached.stepUp(slider);
    EXPECT_THAT(attached.requests(), ElementsAre(0, 0, 0, 0, 0));
    EXPECT_THAT(recordedLines(), ElementsAre());
}

} // namespace
} // namespace feedline::test
