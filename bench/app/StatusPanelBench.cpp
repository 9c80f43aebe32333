// SPDX-License-Identifier: MIT
// What one tick of the status panel costs the main thread, painting included, on the real window:
// with nothing new, and with every line changed. Counts repaints too: where nothing changed there
// is nothing to paint.
//
// Run with QT_QPA_PLATFORM=offscreen. Prints one "name value" line a figure.

#include "app/AppDelegate.h"
#include "app/RunTimeState.h"
#include "platform/qt/MainWindow.h"
#include "platform/qt/QtMainThread.h"
#include "platform/qt/QtSettingsStore.h"

#include <QApplication>
#include <QEvent>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

using namespace feedline;

namespace {

constexpr int ticks = 500;

class NoAlert : public Alert {
    void runModal(const std::string&, const std::string&) override {}
};
class NoActivity : public ActivitySource {
    std::shared_ptr<void> beginActivity(std::uint64_t, const std::string&) override { return {}; }
};

class PaintCounter : public QObject {
public:
    int paints = 0;

private:
    bool eventFilter(QObject* /*watched*/, QEvent* event) override {
        paints += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }
};

double tick(AppDelegate& controller) {
    const auto start = std::chrono::steady_clock::now();
    controller.OneSecTimer();
    QApplication::processEvents();
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start)
        .count();
}

void report(const char* name, std::vector<double> times) {
    std::sort(times.begin(), times.end());
    std::printf("%s_us_median %.1f\n%s_us_max %.1f\n", name, times[times.size() / 2], name,
                times.back());
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QtSettingsStore settings;
    QtMainThread mainThread;
    NoAlert alert;
    NoActivity activity;
    AppDelegate controller(Platform{settings, mainThread, alert, activity});
    MainWindow window;
    controller.serverTcpStatus = &window.status.serverTcpStatus;
    controller.serverRemoteIP = &window.status.serverRemoteIP;
    controller.serverRunning = &window.status.serverRunning;
    controller.serverCenterFrequency = &window.status.serverCenterFrequency;
    window.show();
    for (int i = 0; i < 10; ++i)
        tick(controller);

    PaintCounter counter;
    QApplication::instance()->installEventFilter(&counter);
    std::vector<double> idle;
    idle.reserve(ticks);
    for (int i = 0; i < ticks; ++i)
        idle.push_back(tick(controller));
    std::printf("paints_with_nothing_new %d\n", counter.paints);
    report("tick_with_nothing_new", idle);

    std::vector<double> changed;
    for (int i = 0; i < ticks; ++i) {
        centerFrequency = 7000000 + 1000 * i;
        isStreaming = static_cast<std::uint8_t>(i & 1);
        tcpStatus = (i & 1) != 0 ? tcpConnected : tcpWaiting;
        remoteAddress.assign((i & 1) != 0 ? "192.168.100.100" : "");
        changed.push_back(tick(controller));
    }
    report("tick_with_all_changed", changed);
    std::fflush(stdout);
    std::_Exit(0);
}
