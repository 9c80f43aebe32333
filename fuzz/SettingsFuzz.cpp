// SPDX-License-Identifier: MIT
// Longest input: 400 bytes.
// Reaches: a settings file of any content through the real store and the launch, and what the end
// of the program writes back. The first byte chooses: the rest is the file; or it is the values of
// a file that is well formed, of which the outcome is known. In both cases: a usable port comes
// out, an address that fits or none at all and the end of the process, and a second launch from
// what the first one saved sees the same settings.
//
// Leaves out: receivers, of which there are none, and the server's threads; the toolkit's own
// reading of the file is not instrumented, so its edges do not guide the fuzzer.
#include "FuzzedServer.h"
#include "Require.h"
#include "platform/qt/QtSettingsStore.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace feedline {

/// A type that names no receiver starts the server; its threads have no part in this.
std::thread::id notStarted(const char*, const std::function<void()>&) __asm__(
    "__wrap__ZN8feedline19startDetachedThreadEPKcSt8functionIFvvEE");
std::thread::id notStarted(const char* /*name*/, const std::function<void()>& /*body*/) {
    return std::this_thread::get_id();
}

/// Thrown where the server would log a line and abort.
struct Fatal {};

[[noreturn]] void thrown(const char*, ...) __asm__("__wrap__ZN8feedline5fatalEPKcz");
void thrown(const char* /*format*/, ...) {
    throw Fatal{};
}

} // namespace feedline

namespace feedline::fuzz {
namespace {

std::string settingsFile;

/// Every content gets a time of its own, by which the toolkit tells that a file is a new one.
void writeFile(const std::string& content) {
    static time_t now = 1000000000;
    const int file = open(settingsFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    require(file >= 0 &&
                write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size()),
            "a file");
    const std::array<timespec, 2> times{{{++now, 0}, {now, 0}}};
    futimens(file, times.data());
    close(file);
}

std::string readFile() {
    std::string content(65536, '\0');
    const int file = open(settingsFile.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return "";
    const ssize_t length = read(file, content.data(), content.size());
    close(file);
    content.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    return content;
}

struct Outcome {
    bool fatal = false;
    std::int32_t port = 0;
    std::int32_t type = 0;
    std::string address;
    bool operator==(const Outcome&) const = default;
};

/// From the launch to the end.
Outcome runProgram() {
    QtSettingsStore store;
    FuzzedServer server(store);
    test::vendors().hfSerials.clear();
    test::vendors().airspySerials.clear();
    try {
        server.delegate.applicationDidFinishLaunching();
    } catch (const Fatal&) {
        return {true, 0, 0, ""};
    }
    server.delegate.applicationWillTerminate();
    require(server.udpAddr.stringValue() == udpAddress.str(), "the field shows the address");
    require(server.serverPort.stringValue() == std::to_string(serverPortNumber), "and the port");
    return {false, serverPortNumber, deviceType, udpAddress.str()};
}

/// The low 32 bits of what 64 bits can hold of a number.
std::int32_t low32(const std::string& digits) {
    return static_cast<std::int32_t>(std::strtoll(digits.c_str(), nullptr, 10));
}

/// A well-formed file and what must come of it.
class WellFormed {
public:
    WellFormed(const std::uint8_t* data, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i)
            part(data[i] / 64).push_back(data[i]);
    }

    std::string file() const {
        std::string text = "[General]\n";
        if (!port_.empty())
            text += "sdrPortNumber=" + number(port_) + '\n';
        if (!type_.empty())
            text += "sdrType=" + number(type_) + '\n';
        if (!address_.empty())
            text += "sdrUdpAdr=" + address() + '\n';
        return text;
    }

    Outcome outcome() const {
        if (address().size() > 255)
            return {true, 0, 0, ""};
        const std::int32_t port = port_.empty() ? 0 : low32(number(port_));
        return {false, port > 0 ? port : 50000, type_.empty() ? 0 : low32(number(type_)),
                address_.empty() ? "127.0.0.1" : address()};
    }

private:
    std::string& part(unsigned which) { return which == 0 ? port_ : which == 1 ? type_ : address_; }
    static std::string number(const std::string& bytes) {
        std::string text = (bytes[0] & 1) != 0 ? "-" : "";
        for (const char byte : bytes)
            text += static_cast<char>('0' + static_cast<unsigned char>(byte) % 10);
        return text;
    }
    std::string address() const {
        std::string text;
        for (const char byte : address_)
            text += "0123456789.abcdef-_"[static_cast<unsigned char>(byte) % 19];
        return text;
    }
    std::string port_, type_, address_;
};

} // namespace
} // namespace feedline::fuzz

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    std::string folder = access("/dev/shm", W_OK) == 0 ? "/dev/shm/feedline-fuzz-XXXXXX"
                                                       : "/tmp/feedline-fuzz-XXXXXX";
    if (mkdtemp(folder.data()) == nullptr)
        return 1;
    setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
    mkdir((folder + "/feedline").c_str(), 0700);
    feedline::fuzz::settingsFile = folder + "/feedline/feedline.conf";
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace feedline::fuzz;
    if (size == 0)
        return 0;
    const WellFormed values(data + 1, size - 1);
    const bool wellFormed = data[0] % 2 == 0;
    const std::string content =
        wellFormed ? values.file() : std::string(reinterpret_cast<const char*>(data + 1), size - 1);
    writeFile(content);
    const Outcome first = runProgram();
    if (wellFormed)
        require(first == values.outcome(), "what the values ask for");
    if (first.fatal) {
        require(readFile() == content, "nothing saved by a launch that failed");
        return 0;
    }
    require(first.port > 0, "a usable port");
    require(first.address.size() <= 255, "an address that fits");
    const std::string saved = readFile();
    writeFile(saved);
    require(runProgram() == first, "the same settings at the next launch");
    // Of a file that is not, the toolkit may first rewrite what is no setting of the server's.
    require(!wellFormed || readFile() == saved, "the same file again");
    return 0;
}
