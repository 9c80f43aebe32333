// SPDX-License-Identifier: MIT
// The settings' save cut short: by SIGKILL at random moments, by a full disk, by a home that cannot
// be written. The file always holds the old settings whole or the new ones whole, and nothing is
// said about it. FEEDLINE_POWER_CUTS says how many cuts: 200 otherwise, 20,000 in the long form.
#include "Amount.h"
#include "ServerProcess.h"
#include "platform/qt/QtSettingsStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <sys/mount.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace feedline::test {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

const std::string one = "[General]\nsdrPortNumber=50000\nsdrType=0\nsdrUdpAdr=127.0.0.1\n";
const std::string other =
    "[General]\nsdrPortNumber=65535\nsdrType=1\nsdrUdpAdr=" + std::string(255, '7') + "\n";

std::string contentOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

void save(QtSettingsStore& store, bool first) {
    store.setInteger(first ? 50000 : 65535, "sdrPortNumber");
    store.setInteger(first ? 0 : 1, "sdrType");
    store.setString(first ? "127.0.0.1" : std::string(255, '7'), "sdrUdpAdr");
    store.synchronize();
}

/// Saves one set of settings after the other until it is killed, and tells of each.
[[noreturn]] void saveForEver(int saved) {
    QtSettingsStore store;
    for (bool first = true;; first = !first) {
        save(store, first);
        if (::write(saved, "", 1) != 1)
            std::abort();
    }
}

/// A child that is cut off during or after the save that follows so many whole ones.
void cutAfter(int saves, useconds_t microseconds) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe(ends.data()), 0);
    const pid_t child = fork();
    if (child == 0)
        saveForEver(ends[1]);
    ::close(ends[1]);
    char told = 0;
    for (int n = 0; n < saves; ++n)
        EXPECT_EQ(::read(ends[0], &told, 1), 1);
    ::usleep(microseconds);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    ::close(ends[0]);
}

TEST(PowerCut, LeavesTheOldSettingsOrTheNewOnes) {
    const TemporaryFolder home;
    setenv("XDG_CONFIG_HOME", home.path().c_str(), 1);
    const fs::path file = home.path() / "feedline" / "feedline.conf";
    fs::create_directories(file.parent_path());
    std::ofstream(file) << one;
    std::mt19937 random(1);
    std::uint64_t kept = 0;
    const std::uint64_t cuts = amount("FEEDLINE_POWER_CUTS", 200);
    for (std::uint64_t n = 0; n < cuts; ++n) {
        const int saves = std::uniform_int_distribution(0, 4)(random);
        cutAfter(saves, std::uniform_int_distribution<useconds_t>(0, 5000)(random));
        const std::string content = contentOf(file);
        ASSERT_TRUE(content == one || content == other) << content;
        kept += content == one ? 1 : 0;
    }
    std::printf("%llu cuts: %llu times the one, %llu times the other\n",
                static_cast<unsigned long long>(cuts), static_cast<unsigned long long>(kept),
                static_cast<unsigned long long>(cuts - kept));
    // Both outcomes, or nothing was cut.
    if (cuts >= 100) {
        EXPECT_GT(kept, 0U);
        EXPECT_LT(kept, cuts);
    }
}

struct ProgramPowerCut : ::testing::Test {
    static std::string fileOf(const ServerProcess& server) {
        return contentOf(server.folder() / "config" / "feedline" / "feedline.conf");
    }
    /// Its file lacks two of the keys, so that old and new differ.
    static ServerProcess::Launch launch() {
        return {Program::feedlined,
                {std::nullopt, std::nullopt, "192.0.2.1"},
                {{"FEEDLINE_EMULATOR_DEVICES", "none"}}};
    }
    static constexpr auto before = "[General]\nsdrUdpAdr=192.0.2.1\n";
    static constexpr auto after =
        "[General]\nsdrPortNumber=50000\nsdrType=0\nsdrUdpAdr=192.0.2.1\n";
};

TEST_F(ProgramPowerCut, ThatMeetsTheEndOfTheProgramLosesNothing) {
    std::mt19937 random(1);
    std::uint64_t saved = 0;
    const std::uint64_t cuts = amount("FEEDLINE_POWER_CUTS", 200) / 10;
    for (std::uint64_t n = 0; n < cuts; ++n) {
        ServerProcess server(launch());
        ASSERT_TRUE(server.log.waitFor("ALERT: "));
        server.signal(SIGTERM);
        ::usleep(std::uniform_int_distribution<useconds_t>(0, 30000)(random));
        server.signal(SIGKILL);
        ASSERT_TRUE(server.waitForExit().has_value());
        const std::string content = fileOf(server);
        ASSERT_TRUE(content == before || content == after) << content;
        saved += content == after ? 1 : 0;
    }
    std::printf("%llu programs killed at their end: %llu had saved\n",
                static_cast<unsigned long long>(cuts), static_cast<unsigned long long>(saved));
}

/// A file system of 64 KiB over the settings' folder, where the test may mount one.
class FullDisk {
public:
    explicit FullDisk(fs::path folder) : folder_(std::move(folder)) {
        mounted_ = mount("tmpfs", folder_.c_str(), "tmpfs", 0, "size=64k") == 0;
    }
    ~FullDisk() {
        if (mounted_)
            umount2(folder_.c_str(), MNT_DETACH);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;
    bool mounted() const { return mounted_; }

    void fill() const {
        std::ofstream stream(folder_ / "everything", std::ios::binary);
        while (stream << std::string(4096, 'x') << std::flush)
            ;
    }
    void makeReadOnly() const { mount("", folder_.c_str(), "", MS_REMOUNT | MS_RDONLY, nullptr); }

private:
    fs::path folder_;
    bool mounted_ = false;
};

struct UnwritableHome : ProgramPowerCut, ::testing::WithParamInterface<bool> {};

TEST_P(UnwritableHome, KeepsTheOldSettingsWithoutAWord) {
    ServerProcess server(launch());
    ASSERT_TRUE(server.log.waitFor("ALERT: "));
    const FullDisk disk(server.folder() / "config" / "feedline");
    if (!disk.mounted())
        GTEST_SKIP() << "may not mount a file system here";
    std::ofstream(server.folder() / "config" / "feedline" / "feedline.conf") << before;
    const std::vector<std::string> said = server.logLines();
    if (GetParam())
        disk.fill();
    else
        disk.makeReadOnly();
    EXPECT_EQ(server.end(SIGTERM, "nowhere to save"), 0);
    EXPECT_EQ(fileOf(server), before);
    EXPECT_EQ(server.logLines(), said);
    EXPECT_EQ(server.output.text(), "");
}

INSTANTIATE_TEST_SUITE_P(PowerCut, UnwritableHome, ::testing::Bool(),
                         [](const auto& disk) { return disk.param ? "FullDisk" : "ReadOnly"; });

} // namespace
} // namespace feedline::test
