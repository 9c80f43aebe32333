// SPDX-License-Identifier: MIT
#include "Faults.h"

#include "stream/SampleRing.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <sys/mman.h>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

namespace feedline::test {
namespace {

// Never destroyed: server threads may outlive main().
struct Book {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<Fault> faults;
    std::map<std::string, int> entered, done;
    int injected = 0;
};
Book& book() {
    static auto& only = *new Book;
    return only;
}

bool hits(const std::vector<Fault>& faults, const std::string& function, int number) {
    return std::any_of(faults.begin(), faults.end(),
                       [&](const Fault& fault) { return fault.hits(function, number); });
}

thread_local bool testsOwn = ::gettid() == ::getpid();

/// One call by the server: its number on the way in, its end on the way out.
class Call {
public:
    explicit Call(std::string function) : function_(std::move(function)) {
        if (testsOwn)
            return;
        const std::lock_guard lock(book().mutex);
        fails_ = hits(book().faults, function_, ++book().entered[function_]);
        book().injected += fails_ ? 1 : 0;
        book().changed.notify_all();
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;
    ~Call() {
        if (testsOwn)
            return;
        const int error = errno;
        {
            const std::lock_guard lock(book().mutex);
            ++book().done[function_];
            book().changed.notify_all();
        }
        errno = error;
    }

    /// True, with the error number set, when the call is to fail.
    bool fails(int error) const {
        if (fails_)
            errno = error;
        return fails_;
    }

private:
    std::string function_;
    bool fails_ = false;
};

bool waitFor(std::map<std::string, int>& counts, const std::string& function, int calls) {
    using namespace std::chrono_literals;
    std::unique_lock lock(book().mutex);
    return book().changed.wait_for(lock, 60s, [&] { return counts[function] >= calls; });
}

} // namespace

void injectFaults(const std::vector<Fault>& faults) {
    const std::lock_guard lock(book().mutex);
    book().faults = faults;
}

bool isToFail(const std::string& function, int number) {
    const std::lock_guard lock(book().mutex);
    return hits(book().faults, function, number);
}

int faultsInjected() {
    const std::lock_guard lock(book().mutex);
    return book().injected;
}

std::map<std::string, int> callsEntered() {
    const std::lock_guard lock(book().mutex);
    return book().entered;
}

bool waitForEntered(const std::string& function, int calls) {
    return waitFor(book().entered, function, calls);
}

bool waitForDone(const std::string& function, int calls) {
    return waitFor(book().done, function, calls);
}

void asServer(const std::function<void()>& piece) {
    testsOwn = false;
    piece();
    testsOwn = true;
}

bool vendorCallFails(const std::string& function) {
    return Call(function).fails(0);
}

} // namespace feedline::test

using feedline::test::Call;

// What std::thread starts a thread with, as far as the linker is concerned.
using Start = void(std::thread*, std::unique_ptr<std::thread::_State>, void (*)());
Start realStart __asm__(
    "__real__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_"
    "EEPFvvE");
Start startOrFail __asm__(
    "__wrap__ZNSt6thread15_M_start_threadESt10unique_ptrINS_6_StateESt14default_deleteIS1_"
    "EEPFvvE");
void startOrFail(std::thread* thread, std::unique_ptr<std::thread::_State> state,
                 void (*depend)()) {
    if (Call("thread").fails(EAGAIN))
        throw std::system_error(std::make_error_code(std::errc::resource_unavailable_try_again));
    realStart(thread, std::move(state), depend);
}

extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier): the linker gives these names.
int __real_socket(int domain, int type, int protocol);
int __real_dup(int descriptor);
int __real_setsockopt(int socket, int level, int option, const void* value, socklen_t length);
int __real_bind(int socket, const sockaddr* address, socklen_t length);
int __real_listen(int socket, int backlog);
int __real_accept(int socket, sockaddr* address, socklen_t* length);
ssize_t __real_recv(int socket, void* buffer, size_t length, int flags);
ssize_t __real_write(int descriptor, const void* bytes, size_t length);
ssize_t __real_sendto(int socket, const void* bytes, size_t size, int flags, const sockaddr* to,
                      socklen_t length);
int __real_shutdown(int socket, int how);
int __real_close(int descriptor);
void* __real_mmap(void* address, size_t length, int protection, int flags, int descriptor,
                  off_t offset);
void* __real_memset(void* bytes, int value, size_t length);

int __wrap_socket(int domain, int type, int protocol) {
    const Call call(type == SOCK_STREAM ? "control socket" : "datagram socket");
    return call.fails(EMFILE) ? -1 : __real_socket(domain, type, protocol);
}

int __wrap_dup(int descriptor) {
    return Call("dup").fails(EMFILE) ? -1 : __real_dup(descriptor);
}

int __wrap_bind(int socket, const sockaddr* address, socklen_t length) {
    return Call("bind").fails(EADDRINUSE) ? -1 : __real_bind(socket, address, length);
}

int __wrap_listen(int socket, int backlog) {
    return Call("listen").fails(EADDRINUSE) ? -1 : __real_listen(socket, backlog);
}

int __wrap_accept(int socket, sockaddr* address, socklen_t* length) {
    const Call call("accept");
    return call.fails(ECONNABORTED) ? -1 : __real_accept(socket, address, length);
}

ssize_t __wrap_recv(int socket, void* buffer, size_t length, int flags) {
    const Call call("recv");
    return call.fails(ECONNRESET) ? -1 : __real_recv(socket, buffer, length, flags);
}

ssize_t __wrap_write(int descriptor, const void* bytes, size_t length) {
    const Call call("write");
    return call.fails(EPIPE) ? -1 : __real_write(descriptor, bytes, length);
}

ssize_t __wrap_sendto(int socket, const void* bytes, size_t size, int flags, const sockaddr* to,
                      socklen_t length) {
    const Call call("sendto");
    return call.fails(ENOBUFS) ? -1 : __real_sendto(socket, bytes, size, flags, to, length);
}

// The next ones do their work whatever they say. Without its option a listener could not be bound
// beside the socket that holds the port for the test, and a descriptor is released in any case.
int __wrap_setsockopt(int socket, int level, int option, const void* value, socklen_t length) {
    const Call call("setsockopt");
    const int result = __real_setsockopt(socket, level, option, value, length);
    return call.fails(ENOPROTOOPT) ? -1 : result;
}

int __wrap_shutdown(int socket, int how) {
    const Call call("shutdown");
    const int result = __real_shutdown(socket, how);
    return call.fails(ENOTCONN) ? -1 : result;
}

int __wrap_close(int descriptor) {
    const Call call("close");
    const int result = __real_close(descriptor);
    return call.fails(EINTR) ? -1 : result;
}

void* __wrap_mmap(void* address, size_t length, int protection, int flags, int descriptor,
                  off_t offset) {
    if (length != feedline::ringBytes) // The allocator's, which may not come back here.
        return __real_mmap(address, length, protection, flags, descriptor, offset);
    const Call call("mmap");
    return call.fails(ENOMEM) ? MAP_FAILED
                              : __real_mmap(address, length, protection, flags, descriptor, offset);
}

// A fresh ring's pages are zero anyway, and touching them all would be most of what a run costs.
void* __wrap_memset(void* bytes, int value, size_t length) {
    return length == feedline::ringBytes ? bytes : __real_memset(bytes, value, length);
}
// NOLINTEND(bugprone-reserved-identifier)
} // extern "C"
