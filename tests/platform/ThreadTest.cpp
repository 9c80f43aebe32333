// SPDX-License-Identifier: MIT
#include "platform/Thread.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <dlfcn.h>
#include <future>
#include <memory>
#include <pthread.h>
#include <string>

namespace {

/// Makes the system refuse new threads to this thread alone.
thread_local bool refuseThreads = false;

} // namespace

/// The executable's symbol comes before the C library's, for std::thread's own code too.
extern "C" __attribute__((visibility("default"))) int
pthread_create(pthread_t* __restrict thread, const pthread_attr_t* __restrict attributes,
               void* (*body)(void*), void* __restrict argument) noexcept {
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    if (refuseThreads)
        return EAGAIN;
    static const auto real = reinterpret_cast<Create>(::dlsym(RTLD_NEXT, "pthread_create"));
    return real(thread, attributes, body, argument);
}

namespace feedline {
namespace {

struct Seen {
    std::string name;
    std::thread::id id;
};

/// What a thread started under the name finds itself to be, beside the id its starter was given.
Seen seenUnder(const char* name, std::thread::id& given) {
    auto promise = std::make_shared<std::promise<Seen>>();
    std::future<Seen> future = promise->get_future();
    given = startDetachedThread(name, [promise] {
        std::array<char, 16> text{};
        pthread_getname_np(pthread_self(), text.data(), text.size());
        promise->set_value({text.data(), std::this_thread::get_id()});
    });
    return future.get();
}

TEST(DetachedThread, RunsItsBodyUnderItsNameOnAThreadOfItsOwn) {
    std::thread::id given;
    const Seen seen = seenUnder("UDPThread", given);
    EXPECT_EQ(seen.name, "UDPThread");
    EXPECT_EQ(seen.id, given);
    EXPECT_NE(seen.id, std::this_thread::get_id());
}

TEST(DetachedThread, KeepsANameOf15CharactersWhole) {
    std::thread::id given;
    EXPECT_EQ(seenUnder("123456789012345", given).name, "123456789012345");
}

TEST(DetachedThread, LeavesItsStartersNameAlone) {
    std::array<char, 16> before{};
    std::array<char, 16> after{};
    pthread_getname_np(pthread_self(), before.data(), before.size());
    std::thread::id given;
    seenUnder("TCPThread", given);
    pthread_getname_np(pthread_self(), after.data(), after.size());
    EXPECT_EQ(before, after);
}

TEST(DetachedThread, KeepsWhatItsBodyCapturedUntilTheBodyEnds) {
    auto captured = std::make_shared<int>(7);
    const std::weak_ptr<int> watched = captured;
    auto mayGoOn = std::make_shared<std::promise<void>>();
    auto finished = std::make_shared<std::promise<int>>();
    std::future<int> result = finished->get_future();
    startDetachedThread("keeper", [captured, mayGoOn, finished] {
        mayGoOn->get_future().wait();
        finished->set_value(*captured);
    });
    captured.reset();
    EXPECT_FALSE(watched.expired());
    mayGoOn->set_value();
    EXPECT_EQ(result.get(), 7);
}

TEST(DetachedThread, ThatTheSystemRefusesGivesNoIdAndRunsNothing) {
    const auto ran = std::make_shared<std::atomic<bool>>(false);
    refuseThreads = true;
    const std::thread::id id = startDetachedThread("UDPThread", [ran] { *ran = true; });
    refuseThreads = false;
    EXPECT_EQ(id, std::thread::id{});
    EXPECT_FALSE(*ran);
    EXPECT_EQ(ran.use_count(), 1); // The body is gone: nothing is left to run later.
}

TEST(DetachedThread, CanBeStartedOnceTheSystemAllowsItAgain) {
    refuseThreads = true;
    startDetachedThread("UDPThread", [] {});
    refuseThreads = false;
    std::thread::id given;
    EXPECT_EQ(seenUnder("UDPThread", given).name, "UDPThread");
}

} // namespace
} // namespace feedline
