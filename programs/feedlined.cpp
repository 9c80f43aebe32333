// SPDX-License-Identifier: MIT
// The server without a window: for a small computer beside the antenna, or a service.
#include "platform/Process.h"
#include "platform/SessionInhibitor.h"
#include "platform/qt/ProgramEnd.h"
#include "programs/HeldServer.h"
#include "programs/OutsideAccess.h"

#include <QCoreApplication>

int main(int argc, char* argv[]) {
    feedline::prepareProcess();
    const QCoreApplication application(argc, argv);
    feedline::dropUserLocale();

    feedline::SessionInhibitor activities;
    feedline::HeldServer server(activities);
    feedline::OutsideAccess outside(server.mainThread, server.alert, server.controls());
    feedline::ProgramEnd end(server.mainThread,
                             [&] { server.controller.applicationWillTerminate(); });
    server.launch();
    outside.open();
    QCoreApplication::exec();
    end.finish();
}
