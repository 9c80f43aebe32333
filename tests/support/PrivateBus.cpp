// SPDX-License-Identifier: MIT
#include "PrivateBus.h"

#include "Loopback.h"
#include "Waiting.h"

#include <array>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace feedline::test {
namespace {

constexpr auto configuration = R"(<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>ADDRESS</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
</busconfig>
)";

bool accepts(const std::string& path) {
    const OwnedDescriptor socket(
        checked(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.c_str(), path.size());
    return connect(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
}

} // namespace

PrivateBus::PrivateBus(Begin begin) {
    std::string text = configuration;
    const std::string place = "ADDRESS";
    text.replace(text.find(place), place.size(), address());
    std::ofstream(folder_.file("configuration")) << text;
    if (begin == Begin::running)
        start();
}

void PrivateBus::start() {
    const std::string option = "--config-file=" + folder_.file("configuration");
    pid_ = checked(fork(), "fork");
    if (pid_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(open("/dev/null", O_WRONLY), STDERR_FILENO); // It wants more descriptors than it may.
        execlp("dbus-daemon", "dbus-daemon", option.c_str(), "--nofork", "--nopidfile",
               "--nosyslog", static_cast<char*>(nullptr));
        _exit(127);
    }
    if (!waitUntil([this] { return accepts(folder_.file("bus")); }))
        throw std::runtime_error("no dbus-daemon");
}

void PrivateBus::stop() {
    if (pid_ == -1)
        return;
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
    unlink(folder_.file("bus").c_str());
    pid_ = -1;
}

} // namespace feedline::test
