// SPDX-License-Identifier: MIT
// The program as users start it, before a server that is scripted.

#include "HubProcess.h"
#include "ScriptedServer.h"
#include "Waiting.h"
#include "tools/client/ControlClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>

namespace feedline::test {
namespace {

using testing::HasSubstr;

class HubProgram : public testing::Test {
protected:
    HubProgram() { server.streamWhenRun({}); }

    client::ControlClient connect(const HubProcess& hub) {
        return client::ControlClient({.host = "127.0.0.1", .port = hub.native.number(), .bind = {}},
                                     {.timeout = client::Seconds(20), .wait = client::Seconds(20)});
    }

    ScriptedServer server;
};

TEST_F(HubProgram, EndsWithZeroOnASignalAndStopsTheReceiver) {
    for (const int signal : {SIGTERM, SIGINT}) {
        HubProcess hub(server.port());
        auto client = connect(hub);
        client.setRunning(true);
        ASSERT_TRUE(hub.log.waitFor("IQ pairs a second"));
        ASSERT_TRUE(server.waitForRun());
        EXPECT_EQ(hub.end(signal), 0);
        const Bytes stop{8, 0, 0x18, 0, 0x80, 1};
        EXPECT_TRUE(waitUntil([&] {
            const Bytes last = server.messages().back();
            return std::equal(stop.begin(), stop.end(), last.begin());
        }));
    }
}

TEST_F(HubProgram, LeavesItsPortsToBeUsedAgainAtOnce) {
    HubProcess hub(server.port());
    auto client = connect(hub);
    client.setRunning(true);
    EXPECT_EQ(hub.end(), 0);
    HubProcess again(server.port(), {"--native", hub.native.text(), "--web", hub.web.text(),
                                     "--rtl-tcp", hub.rtlTcp.text()});
    EXPECT_TRUE(again.log.waitFor("native on 127.0.0.1:" + hub.native.text()));
    EXPECT_TRUE(again.log.waitFor("connected to")); // Only then it knows the name.
    EXPECT_NO_THROW(connect(hub).targetName());
    EXPECT_EQ(again.end(), 0);
}

TEST_F(HubProgram, SaysInOneLineThatAPortIsTaken) {
    const ReservedPort port;
    const OwnedDescriptor other = listenOn(port.number());
    HubProcess hub(server.port(), {"--native", port.text()});
    EXPECT_EQ(hub.waitForExit(), 1);
    ASSERT_TRUE(hub.log.waitForEnd());
    EXPECT_EQ(occurrences("\n", hub.log.text()), 1) << hub.log.text();
    EXPECT_THAT(hub.log.text(), HasSubstr(port.text()));
}

TEST_F(HubProgram, SaysWhatIsOpenToWhomWhenOthersCanReachIt) {
    HubProcess closed(server.port());
    EXPECT_TRUE(closed.log.waitFor("connected to"));
    EXPECT_EQ(closed.log.text().find("every machine"), std::string::npos);
    EXPECT_EQ(closed.end(), 0);
    HubProcess open(server.port(), {"--listen", "0.0.0.0"});
    EXPECT_TRUE(open.log.waitFor("open to every machine that can reach 0.0.0.0"));
    EXPECT_EQ(open.end(), 0);
}

TEST_F(HubProgram, PrintsALineOfJsonEverySecond) {
    HubProcess hub(server.port(), {"--json"});
    ASSERT_TRUE(hub.output.waitFor("\n", 2));
    const std::string text = hub.output.text();
    const auto json = nlohmann::json::parse(text.substr(0, text.find('\n')));
    EXPECT_TRUE(json.contains("receiver"));
    EXPECT_TRUE(json.contains("listeners"));
    EXPECT_EQ(hub.end(), 0);
}

TEST_F(HubProgram, WaitsForAServerThatIsNotThereYet) {
    const ReservedPort nobody;
    HubProcess hub(nobody.number());
    EXPECT_TRUE(hub.log.waitFor("cannot connect to"));
    EXPECT_EQ(hub.end(), 0);
    EXPECT_EQ(occurrences("cannot connect", hub.log.text()), 1) << "the same trouble is said once";
}

// Everything is set again as it was, and the listener hears on without doing anything.
TEST_F(HubProgram, ServesOnAfterTheServerHasDroppedIt) {
    HubProcess hub(server.port());
    auto client = connect(hub);
    client.setFrequency(21000000);
    client.setRunning(true);
    ASSERT_TRUE(server.waitForRun());
    const auto runs = [&] {
        const auto messages = server.messages();
        const Bytes run{8, 0, 0x18, 0, 0x80, 2};
        return std::count_if(messages.begin(), messages.end(), [&](const Bytes& message) {
            return std::equal(run.begin(), run.begin() + std::min(run.size(), message.size()),
                              message.begin());
        });
    };
    const auto before = runs();
    server.dropClient();
    EXPECT_TRUE(hub.log.waitFor("connected to", 2));
    EXPECT_TRUE(waitUntil([&] {
        return runs() > before || hub.log.text().find("again after") != std::string::npos;
    }));
    EXPECT_TRUE(hub.log.waitFor("samples again after"));
    EXPECT_EQ(client.status(), client::statusRunning);
    EXPECT_EQ(hub.end(), 0);
}

TEST_F(HubProgram, EndsWithTwoWhenTheCommandLineMakesNoSense) {
    HubProcess hub(server.port(), {"--tuning", "me"});
    EXPECT_EQ(hub.waitForExit(), 2);
}

TEST_F(HubProgram, SaysThatNoHubAnswersTheQuestionForStatus) {
    HubProcess hub(server.port(), {"--status"});
    EXPECT_EQ(hub.waitForExit(), 1);
    ASSERT_TRUE(hub.log.waitForEnd());
    EXPECT_THAT(hub.log.text(), HasSubstr("no hub answers"));
}

} // namespace
} // namespace feedline::test
