// SPDX-License-Identifier: MIT
#include "platform/qt/MessageBoxAlert.h"

#include "OffscreenApplication.h"

#include <QApplication>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>
#include <QWidget>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace feedline {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

QMessageBox* shownBox() {
    return qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
}

class MessageBoxAlert : public ::testing::Test {
protected:
    MessageBoxAlert() { window.setWindowTitle("Feedline"); }

    /// Once the box is up, calls `look` with it.
    void whenShown(const std::function<void(QMessageBox&)>& look) {
        auto* timer = new QTimer(&window);
        QObject::connect(timer, &QTimer::timeout, [timer, look] {
            if (auto* box = shownBox()) {
                timer->stop();
                look(*box);
            }
        });
        timer->start(1ms);
    }
    void whenShownPressOk() {
        whenShown([](QMessageBox& box) { box.button(QMessageBox::Ok)->click(); });
    }

    test::OffscreenApplication application;
    feedline::QtMainThread main;
    QWidget window;
    feedline::MessageBoxAlert alert{main, window};
};

TEST_F(MessageBoxAlert, ShowsBoldMessageInformationAndOneButton) {
    whenShown([](QMessageBox& box) {
        EXPECT_EQ(box.text(), "No AirSpyHF+ found");
        EXPECT_EQ(box.informativeText(), "Is it plugged in?");
        EXPECT_EQ(box.buttons().size(), 1);
        EXPECT_EQ(box.standardButtons(), QMessageBox::Ok);
        EXPECT_TRUE(box.isModal());
        const auto* label = box.findChild<QLabel*>("qt_msgbox_label");
        ASSERT_NE(label, nullptr);
        EXPECT_TRUE(label->font().bold());
        box.button(QMessageBox::Ok)->click();
    });
    alert.runModal("No AirSpyHF+ found", "Is it plugged in?");
    EXPECT_EQ(shownBox(), nullptr);
}

TEST_F(MessageBoxAlert, ShowsTheMessageAloneWithoutInformation) {
    whenShown([](QMessageBox& box) {
        EXPECT_EQ(box.informativeText(), "");
        box.button(QMessageBox::Ok)->click();
    });
    alert.runModal("Could not open AirSpyHF+", "");
}

TEST_F(MessageBoxAlert, TakesTextsAsTheyStand) {
    whenShown([](QMessageBox& box) {
        EXPECT_EQ(box.text(), "<b>5 < 6 & 7</b>");
        EXPECT_EQ(box.textFormat(), Qt::PlainText);
        box.button(QMessageBox::Ok)->click();
    });
    alert.runModal("<b>5 < 6 & 7</b>", "");
}

TEST_F(MessageBoxAlert, HoldsAnotherThreadUntilItIsDismissed) {
    std::atomic<bool> returned = false;
    std::thread other([&] {
        alert.runModal("Set Frequency Error", "");
        returned = true;
        main.end();
    });
    whenShown([&](QMessageBox& box) {
        EXPECT_FALSE(returned);
        box.button(QMessageBox::Ok)->click();
    });
    QApplication::exec();
    other.join();
    EXPECT_TRUE(returned);
}

TEST_F(MessageBoxAlert, TimersGoOnUnderIt) {
    int ticks = 0;
    main.performRepeatedly(5ms, [&] {
        if (++ticks == 3)
            whenShownPressOk();
    });
    alert.runModal("No AirSpyHF+ found", "");
    EXPECT_GE(ticks, 3);
}

TEST_F(MessageBoxAlert, TwoInARowAreTwoBoxes) {
    std::vector<std::string> seen;
    main.perform([&] {
        for (int i = 0; i < 2; ++i) {
            whenShown([&](QMessageBox& box) {
                seen.push_back(box.text().toStdString());
                box.button(QMessageBox::Ok)->click();
            });
            alert.runModal("Could not open AirSpyHF+", "");
        }
        main.end();
    });
    QApplication::exec();
    EXPECT_THAT(seen, ElementsAre("Could not open AirSpyHF+", "Could not open AirSpyHF+"));
}

TEST_F(MessageBoxAlert, TheEndOfTheProgramTakesBothOfTwoAway) {
    int shown = 0;
    main.perform([&] {
        whenShown([&](QMessageBox&) {
            ++shown;
            main.end();
        });
        alert.runModal("Could not open AirSpyHF+", "");
        whenShown([&](QMessageBox&) { ++shown; });
        alert.runModal("Could not open AirSpyHF+", "");
    });
    QApplication::exec();
    EXPECT_EQ(shown, 1);
}

TEST_F(MessageBoxAlert, TheEndOfTheProgramReleasesAWaitingThread) {
    std::thread other([&] { alert.runModal("Set Frequency Error", ""); });
    whenShown([&](QMessageBox&) { main.end(); });
    QApplication::exec();
    other.join();
    EXPECT_EQ(shownBox(), nullptr);
}

} // namespace
} // namespace feedline
