// The server with its window.
#include "app/AppDelegate.h"
#include "platform/Process.h"
#include "platform/SessionInhibitor.h"
#include "platform/qt/MainWindow.h"
#include "platform/qt/MessageBoxAlert.h"
#include "platform/qt/ProgramEnd.h"
#include "platform/qt/QtMainThread.h"
#include "platform/qt/QtSettingsStore.h"

#include <QApplication>

namespace {

using feedline::AppDelegate;
using feedline::MainWindow;

void fillOutlets(AppDelegate& controller, MainWindow& window) {
    controller.serverTcpStatus = &window.status.serverTcpStatus;
    controller.serverRemoteIP = &window.status.serverRemoteIP;
    controller.serverRunning = &window.status.serverRunning;
    controller.serverCenterFrequency = &window.status.serverCenterFrequency;
    controller.serverPort = &window.receiver.serverPort;
    controller.devicePopup = &window.receiver.devicePopup;
    controller.udpAddr = &window.receiver.udpAddr;
    controller.lnaAgcButton = &window.gains.lnaAgcButton;
    controller.mixerAgcButton = &window.gains.mixerAgcButton;
    controller.lnaGainSlider = &window.gains.lnaGainSlider;
    controller.mixerGainSlider = &window.gains.mixerGainSlider;
    controller.vgaGainSlider = &window.gains.vgaGainSlider;
    controller.linearitySlider = &window.gains.linearitySlider;
    controller.sensitivitySlider = &window.gains.sensitivitySlider;
}

void connectActions(AppDelegate& controller, MainWindow& window) {
    window.receiver.onDeviceChosen = [&] {
        controller.devicePopupChange();
    };
    window.receiver.onRestart = [&] {
        controller.restartServer();
    };
    window.gains.onGainChanged = [&](const feedline::ValueControl* sender) {
        controller.changedGain(sender);
    };
}

} // namespace

int main(int argc, char* argv[]) {
    feedline::prepareProcess();
    QApplication::setDesktopFileName("feedline");
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false); // Or an alert over no window would end it all.

    feedline::QtSettingsStore settings;
    feedline::QtMainThread mainThread;
    const auto window = std::make_shared<MainWindow>();
    feedline::MessageBoxAlert alert(mainThread, *window);
    feedline::SessionInhibitor activities;
    AppDelegate controller({settings, mainThread, alert, activities});
    controller.setWindow(window);
    fillOutlets(controller, *window);
    connectActions(controller, *window);
    window->onClose = [&] {
        mainThread.end();
    };

    feedline::ProgramEnd end(mainThread, [&] { controller.applicationWillTerminate(); });
    window->show();
    mainThread.perform([&] { controller.applicationDidFinishLaunching(); });
    QApplication::exec();
    end.finish();
}
