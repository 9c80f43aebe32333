// SPDX-License-Identifier: MIT
// What the window shows where numbers are written with a decimal comma.
#include "CommaLocale.h"
#include "MemoryPlatform.h"
#include "OffscreenApplication.h"
#include "app/RunTimeState.h"
#include "platform/Process.h"
#include "programs/WindowedServer.h"

#include <QLabel>
#include <QSlider>
#include <QTest>
#include <gtest/gtest.h>

#include <clocale>
#include <functional>
#include <memory>

namespace feedline::test {
namespace {

struct Desktop {
    Desktop() {
        comma.offer();
        setenv("XDG_CONFIG_HOME", folder.file("").c_str(), 1);
        QtSettingsStore settings;
        settings.setInteger(2, "sdrType");             // None of the receivers.
        settings.setInteger(1 << 16, "sdrPortNumber"); // Its low 16 bits are any port.
        settings.synchronize();
        application = std::make_unique<OffscreenApplication>();
        EXPECT_STREQ(localeconv()->decimal_point, ",") << "the toolkit left the locale alone";
        dropUserLocale();
        server = new WindowedServer(activities); // Its threads run on.
    }

    std::string text(const char* line) const {
        return server->window->findChild<QWidget*>(line)
            ->findChild<QLabel*>()
            ->text()
            .toStdString();
    }

    CommaLocale comma;
    TemporaryFolder folder;
    std::unique_ptr<OffscreenApplication> application;
    RecordingActivities activities;
    WindowedServer* server = nullptr;
};

TEST(WindowText, HasAPointWhereTheUsersLocaleHasAComma) {
    auto& desktop = *new Desktop;
    desktop.server->launch();
    centerFrequency = 7100000;
    EXPECT_TRUE(QTest::qWaitFor(
        [&] { return desktop.text("serverCenterFrequency") == "Center Frequency: 7100.000 kHz"; },
        60000))
        << desktop.text("serverCenterFrequency");
}

} // namespace
} // namespace feedline::test
