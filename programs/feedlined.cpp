// The server without a window: for a small computer beside the antenna, or a user service.
#include "app/AppDelegate.h"
#include "platform/Process.h"
#include "platform/SessionInhibitor.h"
#include "platform/StandardErrorAlert.h"
#include "platform/HeldControls.h"
#include "platform/qt/ProgramEnd.h"
#include "platform/qt/QtMainThread.h"
#include "platform/qt/QtSettingsStore.h"

#include <QCoreApplication>

namespace {

/// Holds what the store held at launch, for the save at the end.
struct Fields : feedline::Window {
    feedline::HeldTextField serverPort, serverTcpStatus, serverRemoteIP, serverRunning,
        serverCenterFrequency, udpAddr;
    feedline::HeldPopUpButton devicePopup;
    feedline::HeldValueControl gain;
};

void fillOutlets(feedline::AppDelegate& controller, Fields& fields) {
    controller.serverPort = &fields.serverPort;
    controller.serverTcpStatus = &fields.serverTcpStatus;
    controller.serverRemoteIP = &fields.serverRemoteIP;
    controller.serverRunning = &fields.serverRunning;
    controller.serverCenterFrequency = &fields.serverCenterFrequency;
    controller.devicePopup = &fields.devicePopup;
    controller.udpAddr = &fields.udpAddr;
    controller.lnaAgcButton = controller.mixerAgcButton = &fields.gain;
    controller.lnaGainSlider = controller.mixerGainSlider = controller.vgaGainSlider = &fields.gain;
    controller.linearitySlider = controller.sensitivitySlider = &fields.gain;
}

} // namespace

int main(int argc, char* argv[]) {
    feedline::prepareProcess();
    const QCoreApplication application(argc, argv);
    feedline::dropUserLocale();

    feedline::QtSettingsStore settings;
    feedline::QtMainThread mainThread;
    feedline::StandardErrorAlert alert;
    feedline::SessionInhibitor activities;
    feedline::AppDelegate controller({settings, mainThread, alert, activities});
    Fields fields;
    fillOutlets(controller, fields);

    feedline::ProgramEnd end(mainThread, [&] { controller.applicationWillTerminate(); });
    mainThread.perform([&] { controller.applicationDidFinishLaunching(); });
    QCoreApplication::exec();
    end.finish();
}
