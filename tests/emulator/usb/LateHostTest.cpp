// SPDX-License-Identifier: MIT
// A host that comes late for its samples, by the USB library's own calls. Each test is a process of
// its own.
#include "EmulatorControl.h"
#include "TemporaryFolder.h"

#include <gtest/gtest.h>
#include <libusb.h>

#include <chrono>
#include <cstdlib>
#include <thread>
#include <vector>

using namespace feedline::test;
using namespace std::chrono_literals;

namespace {

constexpr unsigned char receiverMode = 1; // request
constexpr unsigned char samples = 0x81;   // endpoint
constexpr int transferBytes = 8192;       // 2.7 ms
constexpr auto late = 200ms;

/// Keeps some transfers queued, like a library would sixteen.
class LateHost : public testing::Test {
protected:
    void open(std::size_t transfers = 2) {
        transfers_.resize(transfers);
        buffers_.resize(transfers, std::vector<unsigned char>(transferBytes));
        setenv("FEEDLINE_EMULATOR_CONTROL", socket_.c_str(), 1);
        ASSERT_EQ(libusb_init(&context_), 0);
        libusb_device** list = nullptr;
        ASSERT_EQ(libusb_get_device_list(context_, &list), 1);
        ASSERT_EQ(libusb_open(list[0], &handle_), 0);
        libusb_free_device_list(list, 1);
        ASSERT_EQ(libusb_claim_interface(handle_, 0), 0);
        ASSERT_GE(libusb_control_transfer(handle_, 0x40, receiverMode, 1, 0, nullptr, 0, 500), 0);
        for (std::size_t i = 0; i < transfers_.size(); ++i) {
            transfers_[i] = libusb_alloc_transfer(0);
            libusb_fill_bulk_transfer(transfers_[i], handle_, samples, buffers_[i].data(),
                                      transferBytes, queueAgain, this, 0);
            ASSERT_EQ(libusb_submit_transfer(transfers_[i]), 0);
        }
    }
    void take(int count) {
        while (taken_ < count) {
            timeval atMost{1, 0};
            libusb_handle_events_timeout_completed(context_, &atMost, nullptr);
        }
    }
    long long state(const char* name) { return EmulatorControl(socket_).number("hf", name); }

    int sleepsAt = 0; ///< in the callback of the transfer of that number

private:
    static void queueAgain(libusb_transfer* transfer) {
        auto& host = *static_cast<LateHost*>(transfer->user_data);
        if (++host.taken_ == host.sleepsAt)
            std::this_thread::sleep_for(late);
        libusb_submit_transfer(transfer);
    }

    const TemporaryFolder folder_;
    const std::string socket_ = folder_.file("emulator");
    libusb_context* context_ = nullptr;
    libusb_device_handle* handle_ = nullptr;
    std::vector<libusb_transfer*> transfers_;
    std::vector<std::vector<unsigned char>> buffers_;
    int taken_ = 0;
};

} // namespace

TEST_F(LateHost, LosesWhatCameMeanwhile) {
    open();
    std::this_thread::sleep_for(late);
    take(10);
    EXPECT_GT(state("dropped"), 0);
    EXPECT_EQ(state("waited-ms"), 0);
}

TEST_F(LateHost, IsWaitedForByAPatientClock) {
    setenv("FEEDLINE_EMULATOR_PATIENCE", "0", 1);
    open();
    std::this_thread::sleep_for(late);
    take(10);
    EXPECT_EQ(state("dropped"), 0);
    EXPECT_GE(state("waited-ms"), 190);
}

TEST_F(LateHost, IsWaitedForOnceWhenItComesLateInBetween) {
    setenv("FEEDLINE_EMULATOR_PATIENCE", "0", 1);
    sleepsAt = 5;
    open();
    const auto begin = std::chrono::steady_clock::now();
    take(10);
    const auto took = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(state("dropped"), 0);
    EXPECT_GE(state("waited-ms"), 190);
    // Ten transfers have their own 27 ms; whatever else the clock waited was real time, too.
    EXPECT_LE(state("waited-ms"), std::chrono::ceil<std::chrono::milliseconds>(took).count());
}

// 200 ms late for the first transfer that is left, and 160 for the one that it queues.
TEST_F(LateHost, IsAsLateAsForTheFirstThatItLeft) {
    setenv("FEEDLINE_EMULATOR_PATIENCE", "180", 1);
    sleepsAt = 1;
    open(16);
    take(20);
    EXPECT_EQ(state("dropped"), 0);
    EXPECT_GE(state("waited-ms"), 190);
}
