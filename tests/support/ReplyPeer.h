// SPDX-License-Identifier: MIT
// The far end of `clientSocket`, for tests of the protocol without a TCP thread.
#pragma once

#include "Loopback.h"

#include <string>
#include <vector>

namespace feedline::test {

/// Keeps the replies' boundaries.
class ReplyPeer {
public:
    ReplyPeer();
    ReplyPeer(const ReplyPeer&) = delete;
    ReplyPeer& operator=(const ReplyPeer&) = delete;
    ~ReplyPeer();

    std::vector<std::string> take(); ///< the replies since the last call, one in hex each

private:
    OwnedDescriptor serverEnd_, clientEnd_;
};

} // namespace feedline::test
