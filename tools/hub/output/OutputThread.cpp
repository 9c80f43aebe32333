// SPDX-License-Identifier: MIT
#include "tools/hub/output/Output.h"

#include <pthread.h>

namespace feedline::hub {

OutputThread::OutputThread(boost::asio::io_context& context, const std::string& name)
    : context_(context), work_(context.get_executor()), thread_([this, name] {
          pthread_setname_np(pthread_self(), name.substr(0, 15).c_str());
          context_.run();
      }) {}

OutputThread::~OutputThread() {
    context_.stop();
    thread_.join();
}

} // namespace feedline::hub
