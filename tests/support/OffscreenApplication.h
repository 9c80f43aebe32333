// SPDX-License-Identifier: MIT
// An application object for tests of widgets: they are laid out, painted and sent events as on a
// desktop, and need none.
#pragma once

#include <QApplication>

namespace feedline::test {

class OffscreenApplication {
public:
    OffscreenApplication() { QApplication::setQuitOnLastWindowClosed(false); }
    OffscreenApplication(const OffscreenApplication&) = delete;
    OffscreenApplication& operator=(const OffscreenApplication&) = delete;

private:
    /// Before the application asks for it. Whoever names another one sees the windows there.
    bool chosen_ =
        qEnvironmentVariableIsSet("QT_QPA_PLATFORM") || qputenv("QT_QPA_PLATFORM", "offscreen");
    int count_ = 1;
    char name_[5] = "test";
    char* arguments_[2] = {name_, nullptr};
    QApplication application_{count_, arguments_};
};

} // namespace feedline::test
