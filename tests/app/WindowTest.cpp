// SPDX-License-Identifier: MIT
// The real window, moved with real key, mouse and wheel events.
#include "OffscreenApplication.h"
#include "platform/qt/CheckedEntry.h"
#include "platform/qt/MainWindow.h"
#include "platform/qt/ScaledLabel.h"
#include "platform/qt/StatusMark.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSlider>
#include <QTest>
#include <QWheelEvent>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <set>
#include <stdexcept>
#include <vector>

namespace feedline {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

constexpr auto portRefusal = "Not taken: a port is written in digits alone.";

class Window : public ::testing::Test {
protected:
    Window() {
        window.receiver.devicePopup.addItemWithTitle("AirSpyHF+");
        window.receiver.devicePopup.addItemWithTitle("AirSpy");
        window.receiver.devicePopup.selectItemAtIndex(0);
        window.receiver.serverPort.keepNumeric();
        window.receiver.serverPort.setIntValue(50000);
        window.receiver.udpAddr.setStringValue("127.0.0.1");
        window.receiver.onDeviceChosen = [this] {
            chosen.push_back(window.receiver.devicePopup.indexOfSelectedItem());
        };
        window.receiver.onRestart = [this] {
            ++restarts;
        };
        window.gains.onGainChanged = [this](const ValueControl* sender) {
            senders.push_back(sender);
            values.push_back(sender->intValue());
        };
        window.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&window));
        window.activateWindow();
        EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
    }

    template <typename Control>
    Control& control(const char* name) {
        auto* found = window.findChild<Control*>(name);
        if (found == nullptr)
            throw std::logic_error(std::string("no control ") + name);
        return *found;
    }
    QLineEdit& edit(const char* name) { return control<QLineEdit>(name); }
    QSlider& slider(const char* name) { return control<QSlider>(name); }

    void retype(QLineEdit& line, const char* text) {
        line.setFocus();
        QTest::keySequence(&line, QKeySequence::SelectAll);
        QTest::keyClick(&line, Qt::Key_Delete);
        QTest::keyClicks(&line, text);
    }
    void paste(QLineEdit& line, const char* text) {
        QApplication::clipboard()->setText(text);
        line.setFocus();
        QTest::keySequence(&line, QKeySequence::SelectAll);
        QTest::keySequence(&line, QKeySequence::Paste);
    }
    static QString problemOf(QLineEdit& line) {
        const auto* entry = dynamic_cast<CheckedEntry*>(line.parentWidget());
        return entry == nullptr ? "not a checked entry" : entry->problem();
    }
    static bool marked(QLineEdit& line) {
        const auto* mark =
            dynamic_cast<StatusMark*>(line.parentWidget()->findChild<QWidget*>("problemMark"));
        return mark != nullptr && mark->isVisible() && mark->state() == StatusMark::State::failed;
    }
    static void wheel(QWidget& widget, int steps) {
        const QPointF middle = QRectF(widget.rect()).center();
        QWheelEvent event(middle, widget.mapToGlobal(middle), {}, {0, 120 * steps}, Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(&widget, &event);
    }

    test::OffscreenApplication application;
    MainWindow window;
    std::vector<std::int64_t> chosen;
    int restarts = 0;
    std::vector<const ValueControl*> senders;
    std::vector<int> values;
};

// Status

TEST_F(Window, StatusLinesShowTheControllersTextsWhole) {
    window.status.serverRemoteIP.setStringValue("Remote Address: 192.168.1.20");
    window.status.serverCenterFrequency.setStringValue("Center Frequency: 145512.359 kHz");
    const auto shown = [this](const char* name) {
        return control<QWidget>(name).findChild<QLabel*>()->text().toStdString();
    };
    EXPECT_EQ(shown("serverTcpStatus"), "TCP Server: WAITING FOR CONNECT");
    EXPECT_EQ(shown("serverRemoteIP"), "Remote Address: 192.168.1.20");
    EXPECT_EQ(shown("serverRunning"), "AirSpyHF+ IDLE");
    EXPECT_EQ(shown("serverCenterFrequency"), "Center Frequency: 145512.359 kHz");
}

struct Marked {
    const char* line;
    const char* text;
    StatusMark::State state;
};

void PrintTo(const Marked& marked, std::ostream* stream) {
    *stream << marked.text;
}

class WindowMark : public Window, public ::testing::WithParamInterface<Marked> {};

TEST_P(WindowMark, FollowsTheText) {
    const auto& [line, text, state] = GetParam();
    auto& shown = line == std::string("serverRunning") ? window.status.serverRunning
                                                       : window.status.serverTcpStatus;
    shown.setStringValue(text);
    const auto* mark = dynamic_cast<StatusMark*>(shown.findChild<QWidget*>("mark"));
    ASSERT_NE(mark, nullptr);
    EXPECT_TRUE(mark->isVisible());
    EXPECT_EQ(mark->state(), state);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, WindowMark,
    ::testing::Values(
        Marked{"serverTcpStatus", "TCP Server: CONNECTED", StatusMark::State::fine},
        Marked{"serverTcpStatus", "TCP Server: WAITING FOR CONNECT", StatusMark::State::waiting},
        Marked{"serverTcpStatus", "TCP Server: DISCONNECTED", StatusMark::State::waiting},
        Marked{"serverTcpStatus", "TCP Server: BIND FAILED", StatusMark::State::failed},
        Marked{"serverTcpStatus", "TCP Server: CONNECT FAILED", StatusMark::State::failed},
        Marked{"serverRunning", "AirSpyHF+ RUNNING", StatusMark::State::fine},
        Marked{"serverRunning", "AirSpyHF+ IDLE", StatusMark::State::waiting}));

TEST_F(Window, EveryStatusTextExplainsItself) {
    std::set<QString> meanings;
    for (const char* text :
         {"TCP Server: CONNECTED", "TCP Server: WAITING FOR CONNECT", "TCP Server: BIND FAILED",
          "TCP Server: CONNECT FAILED", "TCP Server: DISCONNECTED", "AirSpyHF+ RUNNING",
          "Center Frequency: 7100.000 kHz"}) {
        window.status.serverTcpStatus.setStringValue(text);
        EXPECT_NE(window.status.serverTcpStatus.toolTip(), "") << text;
        meanings.insert(window.status.serverTcpStatus.toolTip());
    }
    EXPECT_THAT(meanings, SizeIs(7)) << "no two states mean the same";
    EXPECT_EQ(window.status.serverRemoteIP.toolTip(), "");
}

TEST_F(Window, EveryMarkHasAShapeOfItsOwn) {
    const auto outline = [this](StatusMark::State state) {
        StatusMark mark(state, &window);
        mark.resize(64, 64);
        QImage image(64, 64, QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        mark.render(&image, {}, {}, QWidget::DrawChildren);
        return image.createAlphaMask();
    };
    const QImage fine = outline(StatusMark::State::fine);
    const QImage waiting = outline(StatusMark::State::waiting);
    const QImage failed = outline(StatusMark::State::failed);
    EXPECT_NE(fine, waiting);
    EXPECT_NE(fine, failed);
    EXPECT_NE(waiting, failed);
}

// Receiver and network

TEST_F(Window, ChoosingADeviceWithTheKeyboardTells) {
    auto& popup = control<QComboBox>("devicePopup");
    popup.setFocus();
    QTest::keyClick(&popup, Qt::Key_Down);
    EXPECT_THAT(chosen, ElementsAre(1));
    QTest::keyClick(&popup, Qt::Key_Up);
    EXPECT_THAT(chosen, ElementsAre(1, 0));
}

TEST_F(Window, SelectingADeviceFromTheProgramDoesNotTell) {
    window.receiver.devicePopup.selectItemAtIndex(1);
    EXPECT_EQ(window.receiver.devicePopup.indexOfSelectedItem(), 1);
    EXPECT_THAT(chosen, IsEmpty());
}

TEST_F(Window, AnIndexOutsideTheListSelectsNothing) {
    for (const std::int64_t index : {std::int64_t{2}, std::int64_t{-1}, std::int64_t{1} << 32}) {
        window.receiver.devicePopup.selectItemAtIndex(0);
        window.receiver.devicePopup.selectItemAtIndex(index);
        EXPECT_EQ(window.receiver.devicePopup.indexOfSelectedItem(), -1);
    }
}

// The controller takes it as any choice: it is what selects the device for the next Restart.
TEST_F(Window, ChoosingTheSameDeviceAgainTells) {
    auto& popup = control<QComboBox>("devicePopup");
    QTest::mouseClick(&popup, Qt::LeftButton);
    QAbstractItemView& list = *popup.view();
    ASSERT_TRUE(QTest::qWaitFor([&] { return list.isVisible(); }, 60000));
    QTest::keyClick(&list, Qt::Key_Return);
    EXPECT_THAT(chosen, ElementsAre(0));
    EXPECT_EQ(window.receiver.devicePopup.indexOfSelectedItem(), 0);
}

TEST_F(Window, ADeviceOfNoneOfTheListReadsNoReceiver) {
    auto& popup = control<QComboBox>("devicePopup");
    window.receiver.devicePopup.selectItemAtIndex(2);
    EXPECT_EQ(popup.placeholderText(), "No receiver");
    const QImage shown = popup.grab().toImage();
    popup.setPlaceholderText("");
    EXPECT_NE(shown, popup.grab().toImage()) << "the text does not show";
    EXPECT_THAT(chosen, IsEmpty());
}

TEST_F(Window, RestartIsPressedWithMouseOrMnemonic) {
    auto& button = control<QPushButton>("restartButton");
    QTest::mouseClick(&button, Qt::LeftButton);
    EXPECT_EQ(restarts, 1);
    QTest::keyClick(&window, Qt::Key_R, Qt::AltModifier);
    EXPECT_TRUE(QTest::qWaitFor([this] { return restarts == 2; }, 60000));
}

TEST_F(Window, ThePortTakesAnIntegerOrNothing) {
    retype(edit("serverPort"), "-7x0.0,0 5");
    EXPECT_EQ(window.receiver.serverPort.stringValue(), "-70005");
    EXPECT_EQ(window.receiver.serverPort.intValue(), -70005);
    retype(edit("serverPort"), "");
    EXPECT_EQ(window.receiver.serverPort.stringValue(), "");
    EXPECT_EQ(window.receiver.serverPort.intValue(), 0);
}

TEST_F(Window, ADoubtfulPortIsMarkedAndTakenAllTheSame) {
    for (const char* port : {"0", "65536", "70000", "-1", ""}) {
        retype(edit("serverPort"), port);
        EXPECT_TRUE(marked(edit("serverPort"))) << port;
        EXPECT_NE(problemOf(edit("serverPort")), "") << port;
        EXPECT_EQ(window.receiver.serverPort.stringValue(), port);
    }
    for (const char* port : {"1", "50000", "65535"}) {
        retype(edit("serverPort"), port);
        EXPECT_FALSE(marked(edit("serverPort"))) << port;
    }
}

struct BeyondRange {
    const char* typed;
    std::int32_t read;
};

// The field's integer ends at 32 bits, and the field says so.
TEST_F(Window, APortBeyondItsRangeIsReadAsTheBoundWhichIsSaid) {
    for (const auto& [typed, read] :
         {BeyondRange{"2147483648", 2147483647}, BeyondRange{"-2147483649", -2147483647 - 1},
          BeyondRange{"9223372036854775808", 2147483647},
          BeyondRange{"99999999999999999999999999", 2147483647}}) {
        retype(edit("serverPort"), typed);
        EXPECT_EQ(window.receiver.serverPort.stringValue(), typed);
        EXPECT_EQ(window.receiver.serverPort.intValue(), read);
        EXPECT_TRUE(marked(edit("serverPort"))) << typed;
        EXPECT_EQ(problemOf(edit("serverPort")),
                  QString("Read as %1. A port is from 1 to 65535.").arg(read));
    }
    for (const char* bound : {"2147483647", "-2147483648"}) {
        retype(edit("serverPort"), bound);
        EXPECT_EQ(problemOf(edit("serverPort")), "A port is a number from 1 to 65535.");
    }
}

TEST_F(Window, APastedNumberIsThePort) {
    paste(edit("serverPort"), "4711");
    EXPECT_EQ(window.receiver.serverPort.intValue(), 4711);
    EXPECT_FALSE(marked(edit("serverPort")));
}

TEST_F(Window, APasteThatIsNotTakenIsSaid) {
    for (const char* text : {"port 4711", "4711\n", "47,11", "0x1267", "\u0664\u0667"}) {
        paste(edit("serverPort"), "50000");
        paste(edit("serverPort"), text);
        EXPECT_EQ(window.receiver.serverPort.stringValue(), "50000") << text;
        EXPECT_TRUE(marked(edit("serverPort"))) << text;
        EXPECT_EQ(problemOf(edit("serverPort")), portRefusal) << text;
        EXPECT_EQ(edit("serverPort").accessibleDescription(), portRefusal);
    }
}

TEST_F(Window, AKeyThatIsNotTakenIsSaid) {
    retype(edit("serverPort"), "4711");
    QTest::keyClicks(&edit("serverPort"), "x");
    EXPECT_EQ(problemOf(edit("serverPort")), portRefusal);
    QTest::keyClicks(&edit("serverPort"), "1");
    EXPECT_FALSE(marked(edit("serverPort"))) << "after what was taken";
    EXPECT_EQ(window.receiver.serverPort.intValue(), 47111);
}

TEST_F(Window, WhatWasNotTakenIsForgottenElsewhere) {
    retype(edit("serverPort"), "70000");
    QTest::keyClicks(&edit("serverPort"), "x");
    EXPECT_EQ(problemOf(edit("serverPort")), portRefusal);
    QTest::keyClick(&edit("serverPort"), Qt::Key_Tab);
    EXPECT_EQ(problemOf(edit("serverPort")), "A port is a number from 1 to 65535.");
}

TEST_F(Window, AnAddressTakesAnyPaste) {
    paste(edit("udpAddr"), "somewhere else\n");
    EXPECT_EQ(window.receiver.udpAddr.stringValue(), edit("udpAddr").text().toStdString());
    EXPECT_TRUE(marked(edit("udpAddr")));
}

TEST_F(Window, ADoubtfulAddressIsMarkedAndTakenAllTheSame) {
    for (const char* address :
         {"", "localhost", "1.2.3", "1.2.3.256", "1.2.3.4.5", "::1", "1.2.3.4 "}) {
        retype(edit("udpAddr"), address);
        EXPECT_TRUE(marked(edit("udpAddr"))) << address;
        EXPECT_EQ(window.receiver.udpAddr.stringValue(), address);
        EXPECT_EQ(edit("udpAddr").accessibleDescription(), problemOf(edit("udpAddr")));
    }
    for (const char* address : {"127.0.0.1", "255.255.255.255", "0.0.0.0"}) {
        retype(edit("udpAddr"), address);
        EXPECT_FALSE(marked(edit("udpAddr"))) << address;
    }
}

TEST_F(Window, AMarkDoesNotChangeTheWindowsSize) {
    const QSize before = window.size();
    retype(edit("udpAddr"), "nowhere");
    for (const char* port : {"70000", "-99999999999", "7x"}) {
        retype(edit("serverPort"), port);
        EXPECT_TRUE(marked(edit("serverPort")));
        QCoreApplication::processEvents();
        EXPECT_EQ(window.size(), before) << port;
    }
    window.status.serverTcpStatus.setStringValue("TCP Server: CONNECT FAILED");
    QCoreApplication::processEvents();
    EXPECT_EQ(window.size(), before);
}

// Gains

struct Slider {
    const char* name;
    SliderValue GainsGroup::*value;
    int highest;
};

void PrintTo(const Slider& slider, std::ostream* stream) {
    *stream << slider.name;
}

class WindowSlider : public Window, public ::testing::WithParamInterface<Slider> {};

TEST_P(WindowSlider, GoesFromZeroToItsHighestValueByKeyboard) {
    const auto& [name, value, highest] = GetParam();
    auto& moved = slider(name);
    moved.setFocus();
    EXPECT_EQ(moved.value(), 0);
    for (int i = 0; i < highest + 3; ++i)
        QTest::keyClick(&moved, Qt::Key_Right);
    ASSERT_THAT(values, SizeIs(highest)) << "one call a step";
    EXPECT_EQ(values.back(), highest);
    EXPECT_THAT(senders, Each(&(window.gains.*value)));
    EXPECT_EQ(control<QLabel>((std::string(name) + "Value").c_str()).text(),
              QString::number(highest));
}

TEST_P(WindowSlider, TellsWhileItIsDragged) {
    auto& moved = slider(GetParam().name);
    const int middle = moved.height() / 2;
    QTest::mousePress(&moved, Qt::LeftButton, {}, {4, middle});
    for (int x = 4; x < moved.width(); x += 4)
        QTest::mouseMove(&moved, {x, middle});
    EXPECT_TRUE(moved.isSliderDown());
    EXPECT_GT(values.size(), 5U);
    EXPECT_THAT(senders, Each(&(window.gains.*GetParam().value)));
    QTest::mouseRelease(&moved, Qt::LeftButton, {}, {moved.width() - 1, middle});
    EXPECT_EQ(values.back(), GetParam().highest);
}

TEST_P(WindowSlider, FollowsTheWheel) {
    wheel(slider(GetParam().name), 1);
    EXPECT_FALSE(values.empty());
    EXPECT_GT(slider(GetParam().name).value(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Gains, WindowSlider,
    ::testing::Values(Slider{"lnaGainSlider", &GainsGroup::lnaGainSlider, 14},
                      Slider{"mixerGainSlider", &GainsGroup::mixerGainSlider, 15},
                      Slider{"vgaGainSlider", &GainsGroup::vgaGainSlider, 15},
                      Slider{"linearitySlider", &GainsGroup::linearitySlider, 21},
                      Slider{"sensitivitySlider", &GainsGroup::sensitivitySlider, 21}),
    [](const auto& slider) { return slider.param.name; });

TEST_F(Window, AgcSwitchesTellOnAndOff) {
    QTest::keyClick(&control<QCheckBox>("lnaAgcButton"), Qt::Key_Space);
    QTest::mouseClick(&control<QCheckBox>("mixerAgcButton"), Qt::LeftButton, {}, {8, 8});
    QTest::keyClick(&control<QCheckBox>("lnaAgcButton"), Qt::Key_Space);
    EXPECT_THAT(senders, ElementsAre(&window.gains.lnaAgcButton, &window.gains.mixerAgcButton,
                                     &window.gains.lnaAgcButton));
    EXPECT_THAT(values, ElementsAre(1, 1, 0));
}

// The whole

TEST_F(Window, TabVisitsEveryControlInReadingOrder) {
    const std::vector<std::string> order{"devicePopup",     "restartButton",    "serverPort",
                                         "udpAddr",         "lnaAgcButton",     "mixerAgcButton",
                                         "lnaGainSlider",   "mixerGainSlider",  "vgaGainSlider",
                                         "linearitySlider", "sensitivitySlider"};
    control<QComboBox>("devicePopup").setFocus();
    std::vector<std::string> visited;
    for (std::size_t i = 0; i < order.size(); ++i) {
        visited.push_back(QApplication::focusWidget()->objectName().toStdString());
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    }
    EXPECT_EQ(visited, order);
    EXPECT_EQ(QApplication::focusWidget()->objectName(), "devicePopup");
}

TEST_F(Window, EveryMnemonicLeadsToOneControl) {
    std::multiset<QString> mnemonics;
    for (const auto* label : window.findChildren<QLabel*>())
        if (label->buddy() != nullptr)
            mnemonics.insert(QKeySequence::mnemonic(label->text()).toString());
    for (const auto* button : window.findChildren<QAbstractButton*>())
        mnemonics.insert(QKeySequence::mnemonic(button->text()).toString());
    EXPECT_EQ(mnemonics.size(), 11U);
    EXPECT_EQ(mnemonics.count(QString()), 0U);
    EXPECT_EQ(std::set<QString>(mnemonics.begin(), mnemonics.end()).size(), mnemonics.size());
}

TEST_F(Window, EveryControlHasASpokenNameAndIsAlwaysThere) {
    for (const char* name : {"devicePopup", "restartButton", "serverPort", "udpAddr",
                             "lnaAgcButton", "mixerAgcButton", "lnaGainSlider", "mixerGainSlider",
                             "vgaGainSlider", "linearitySlider", "sensitivitySlider"}) {
        const auto& found = control<QWidget>(name);
        EXPECT_FALSE(found.accessibleName().isEmpty()) << name;
        EXPECT_TRUE(found.isEnabled() && found.isVisible()) << name;
    }
}

TEST_F(Window, EveryLabelStandsOnTheLineOfItsControl) {
    int labels = 0;
    for (const auto* label : window.findChildren<QLabel*>()) {
        if (label->buddy() == nullptr)
            continue;
        ++labels;
        const auto middle = [](const QWidget& widget) {
            return widget.mapToGlobal(widget.rect().center()).y();
        };
        EXPECT_NEAR(middle(*label), middle(*label->buddy()), 1) << label->text().toStdString();
    }
    EXPECT_EQ(labels, 8);
}

TEST_F(Window, NothingIsClippedInALargerFont) {
    QFont large = QApplication::font();
    large.setPointSizeF(large.pointSizeF() * 2);
    QApplication::setFont(large);
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    for (const auto* label : window.findChildren<QLabel*>()) {
        if (!label->isVisible())
            continue;
        EXPECT_GE(label->width(),
                  label->fontMetrics().size(Qt::TextShowMnemonic, label->text()).width())
            << label->text().toStdString();
    }
    EXPECT_TRUE(window.rect().contains(window.childrenRect()));
}

TEST_F(Window, ClosingItAsksForTheEndAndLeavesItOpenUntilThen) {
    int closed = 0;
    window.onClose = [&] {
        ++closed;
    };
    EXPECT_FALSE(window.close());
    EXPECT_EQ(closed, 1);
    EXPECT_TRUE(window.isVisible());
}

TEST_F(Window, HasATitleAndAnIconInEverySize) {
    EXPECT_EQ(window.windowTitle(), "Feedline");
    EXPECT_EQ(window.windowIcon().availableSizes().size(), 7);
}

} // namespace
} // namespace feedline
