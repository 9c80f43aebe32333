// SPDX-License-Identifier: MIT
#include "platform/Thread.h"

#include <pthread.h>
#include <system_error>
#include <utility>

namespace feedline {

std::thread::id startDetachedThread(const char* name, std::function<void()> body) {
    try {
        std::thread thread([name, body = std::move(body)] {
            pthread_setname_np(pthread_self(), name);
            body();
        });
        const std::thread::id id = thread.get_id();
        thread.detach();
        return id;
    } catch (const std::system_error&) {
        return {};
    }
}

} // namespace feedline
