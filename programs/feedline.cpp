// SPDX-License-Identifier: MIT
// The server with its window.
#include "platform/Process.h"
#include "platform/SessionInhibitor.h"
#include "platform/qt/ProgramEnd.h"
#include "programs/OutsideAccess.h"
#include "programs/WindowedServer.h"

#include <QApplication>

#include <cstdio>
#include <string>
#include <unistd.h>

namespace {

/// The toolkit ends a program that cannot reach a display as one that has crashed.
void explainMissingDisplay(QtMsgType type, const QMessageLogContext& /*place*/,
                           const QString& text) {
    if (type != QtFatalMsg)
        return;
    const std::string reason = text.left(text.indexOf('\n')).toStdString();
    std::fprintf(stderr,
                 "feedline: no display to show the window on (feedlined serves without one): %s\n",
                 reason.c_str());
    _exit(1);
}

} // namespace

int main(int argc, char* argv[]) {
    feedline::prepareProcess();
    QApplication::setDesktopFileName("feedline");
    const QtMessageHandler usual = qInstallMessageHandler(explainMissingDisplay);
    const QApplication application(argc, argv);
    qInstallMessageHandler(usual);
    feedline::dropUserLocale();
    QApplication::setQuitOnLastWindowClosed(false); // Or an alert over no window would end it all.

    feedline::SessionInhibitor activities;
    feedline::WindowedServer server(activities);
    feedline::OutsideAccess outside(server.mainThread, server.alert, server.controls());
    feedline::ProgramEnd end(server.mainThread,
                             [&] { server.controller.applicationWillTerminate(); });
    server.launch();
    outside.open();
    QApplication::exec();
    end.finish();
}
