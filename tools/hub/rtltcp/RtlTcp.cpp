// SPDX-License-Identifier: MIT
#include "tools/hub/rtltcp/RtlTcp.h"

#include "tools/hub/rtltcp/RtlTcpSession.h"
#include "tools/hub/tcp/SessionOutput.h"

namespace feedline::hub {

std::unique_ptr<Output> openRtlTcp(const Configuration& configuration, Receiver& receiver) {
    if (configuration.rtlTcp == 0)
        return nullptr;
    return std::make_unique<SessionOutput<RtlTcpSession>>(
        "rtl_tcp", configuration.listen, configuration.rtlTcp, [&receiver](auto connection) {
            return std::make_shared<RtlTcpSession>(std::move(connection), receiver);
        });
}

} // namespace feedline::hub
