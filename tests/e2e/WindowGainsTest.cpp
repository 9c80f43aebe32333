// The real window's gain controls, moved with real events, down to the emulated receiver: the
// controller and the vendors' library in this process, over the emulated USB.
#include "EmulatorControl.h"
#include "MemoryPlatform.h"
#include "RecordingLog.h"
#include "ServerProcess.h"
#include "app/RunTimeState.h"
#include "platform/qt/MainWindow.h"

#include <QApplication>
#include <QCheckBox>
#include <QSlider>
#include <QTest>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace feedline::testing {
namespace {

using ::testing::ElementsAre;

// The receiver's requests.
constexpr unsigned lnaGain = 14;
constexpr unsigned mixerGain = 15;
constexpr unsigned vgaGain = 16;
constexpr unsigned lnaAgc = 17;
constexpr unsigned mixerAgc = 18;

int argumentCount = 1;
char programName[] = "test";
char* arguments[] = {programName, nullptr};

// Both are read when they are first needed, before any test's own set-up.
[[maybe_unused]] const bool offscreen = qputenv("QT_QPA_PLATFORM", "offscreen");

/// Made once and kept: the emulated receivers and a running controller end with the process.
struct Attached {
    ScratchFolder folder;
    QApplication application{argumentCount, arguments};
    Server& server = Server::make();
    MainWindow window;
    std::unique_ptr<test::EmulatorControl> emulator;

    explicit Attached(std::int32_t type) {
        const std::string socket = (folder.path() / "emulator").string();
        setenv("FEEDLINE_EMULATOR_DEVICES", "hf,airspy", 1);
        setenv("FEEDLINE_EMULATOR_CONTROL", socket.c_str(), 1);
        AppDelegate& controller = server.delegate;
        controller.lnaAgcButton = &window.gains.lnaAgcButton;
        controller.mixerAgcButton = &window.gains.mixerAgcButton;
        controller.lnaGainSlider = &window.gains.lnaGainSlider;
        controller.mixerGainSlider = &window.gains.mixerGainSlider;
        controller.vgaGainSlider = &window.gains.vgaGainSlider;
        controller.linearitySlider = &window.gains.linearitySlider;
        controller.sensitivitySlider = &window.gains.sensitivitySlider;
        window.gains.onGainChanged = [&controller](const ValueControl* sender) {
            controller.changedGain(sender);
        };
        deviceType = type;
        EXPECT_EQ(controller.doDeviceInit(), 0);
        emulator = std::make_unique<test::EmulatorControl>(socket);
        emulator->tell("forget airspy");
        clearRecordedLines();
        window.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&window));
    }

    void click(const char* name) {
        auto* box = window.findChild<QCheckBox*>(name);
        ASSERT_NE(box, nullptr) << name;
        QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(8, box->height() / 2));
    }
    void stepUp(const char* name) {
        auto* slider = window.findChild<QSlider*>(name);
        ASSERT_NE(slider, nullptr) << name;
        QTest::keyClick(slider, Qt::Key_Right);
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

TEST(WindowGains, LnaAgcChangesThatAlone) {
    Attached attached(DEVICE_AIRSPY);
    attached.click("lnaAgcButton");
    EXPECT_THAT(attached.requests(), ElementsAre(0, 0, 0, 1, 0));
    EXPECT_EQ(attached.state("lna-agc"), "1");
    EXPECT_THAT(recordedLines(), ElementsAre(logged("changedGain 1 0 0 0 0 0 0")));
}

TEST(WindowGains, MixerAgcChangesThatAlone) {
    Attached attached(DEVICE_AIRSPY);
    attached.click("mixerAgcButton");
    EXPECT_THAT(attached.requests(), ElementsAre(0, 0, 0, 0, 1));
    EXPECT_EQ(attached.state("mixer-agc"), "1");
    EXPECT_THAT(recordedLines(), ElementsAre(logged("changedGain 0 1 0 0 0 0 0")));
}

TEST(WindowGains, LnaSliderChangesThatAlone) {
    Attached attached(DEVICE_AIRSPY);
    attached.stepUp("lnaGainSlider");
    EXPECT_THAT(attached.requests(), ElementsAre(1, 0, 0, 0, 0));
    EXPECT_EQ(attached.state("lna-gain"), "1");
    EXPECT_THAT(recordedLines(), ElementsAre(logged("changedGain 0 0 1 0 0 0 0")));
}

TEST(WindowGains, MixerSliderChangesThatAlone) {
    Attached attached(DEVICE_AIRSPY);
    attached.stepUp("mixerGainSlider");
    EXPECT_THAT(attached.requests(), ElementsAre(0, 1, 0, 0, 0));
    EXPECT_EQ(attached.state("mixer-gain"), "1");
    EXPECT_THAT(recordedLines(), ElementsAre(logged("changedGain 0 0 0 1 0 0 0")));
}

TEST(WindowGains, VgaSliderChangesThatAlone) {
    Attached attached(DEVICE_AIRSPY);
    attached.stepUp("vgaGainSlider");
    EXPECT_THAT(attached.requests(), ElementsAre(0, 0, 1, 0, 0));
    EXPECT_EQ(attached.state("vga-gain"), "1");
    EXPECT_THAT(recordedLines(), ElementsAre(logged("changedGain 0 0 0 0 1 0 0")));
}

TEST(WindowGains, APresetSwitchesBothAgcsOffInTheReceiverWhileTheirButtonsStay) {
    for (const char* preset : {"linearitySlider", "sensitivitySlider"}) {
        SCOPED_TRACE(preset);
        static Attached attached(DEVICE_AIRSPY);
        for (const char* agc : {"lnaAgcButton", "mixerAgcButton"})
            if (!attached.window.findChild<QCheckBox*>(agc)->isChecked())
                attached.click(agc);
            else { // Off in the receiver since the last preset: off here as well, and on again.
                attached.click(agc);
                attached.click(agc);
            }
        ASSERT_EQ(attached.state("lna-agc") + attached.state("mixer-agc"), "11");
        attached.emulator->tell("forget airspy");
        attached.stepUp(preset);
        EXPECT_THAT(attached.requests(), ElementsAre(1, 1, 1, 1, 1));
        EXPECT_EQ(attached.state("lna-agc") + attached.state("mixer-agc"), "00");
        EXPECT_TRUE(attached.window.findChild<QCheckBox*>("lnaAgcButton")->isChecked());
    }
}

TEST(WindowGains, WithTheHfSelectedNothingIsSentOrLogged) {
    Attached attached(DEVICE_AIRSPYHF);
    attached.click("lnaAgcButton");
    for (const char* slider : {"lnaGainSlider", "mixerGainSlider", "vgaGainSlider",
                               "linearitySlider", "sensitivitySlider"})
        attached.stepUp(slider);
    EXPECT_THAT(attached.requests(), ElementsAre(0, 0, 0, 0, 0));
    EXPECT_THAT(recordedLines(), ElementsAre());
}

} // namespace
} // namespace feedline::testing
