// SPDX-License-Identifier: MIT
// The AirSpy's gains from a page: a real server with an emulated AirSpy, and a message bus of the
// test's own.
#include "BusCaller.h"
#include "EmulatedServer.h"
#include "OutputRoom.h"
#include "PrivateBus.h"
#include "server/PageClient.h"
#include "tools/hub/web/server/WebOutput.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>
#include <string>

namespace feedline::test {
namespace {

const Headers forwarded{{"X-Forwarded-For", "192.0.2.7"}};

class WebGains : public OutputRoom {
protected:
    WebGains() {
        setenv("DBUS_SESSION_BUS_ADDRESS", bus_.address().c_str(), 1);
        setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent", 1);
        configuration.web = reserved.number();
        configuration.serverPort = server.port();
        tell(idle);
        EXPECT_TRUE(BusCaller(bus_.address()).awaitServer());
    }
    void open() { output_ = hub::openWeb(configuration, receiver); }
    std::unique_ptr<PageClient> come(const Headers& headers = {}) {
        auto page = std::make_unique<PageClient>(configuration.web, headers);
        page->say({{"type", "hello"}});
        return page;
    }
    /// The next state that has gains, or has none.
    static Json stateWithGains(PageClient& page, bool there) {
        Json state;
        do
            state = page.words("state");
        while (!state.is_null() && state.at("gains").is_null() == there);
        return state;
    }
    std::string lna() { return server.receiver.value("airspy", "lna-gain"); }

private:
    PrivateBus bus_;

protected:
    EmulatedServer server{
        receiverAirspy,
        {.devices = "airspy", .more = {{"DBUS_SESSION_BUS_ADDRESS", bus_.address()}}}};

private:
    std::unique_ptr<hub::Output> output_;
};

TEST_F(WebGains, ThePageSetsTheReceivers) {
    open();
    const auto page = come();
    EXPECT_TRUE(stateWithGains(*page, true).at("mayTune"));
    page->say({{"type", "gain"}, {"name", "lna"}, {"value", 9}});
    Json state;
    do
        state = page->words("state");
    while (!state.is_null() && state.at("gains").at(2) != 9);
    EXPECT_EQ(lna(), "9");
}

TEST_F(WebGains, WhoMayNotMoveTheReceiverSetsNothing) {
    open();
    const auto page = come(forwarded);
    const Json before = stateWithGains(*page, true);
    const std::string atFirst = lna();
    EXPECT_FALSE(before.at("mayTune"));
    page->say({{"type", "gain"}, {"name", "lna"}, {"value", 9}});
    const Json after = page->words("state"); // Told again, since the page's control has moved.
    EXPECT_EQ(after.at("gains"), before.at("gains"));
    EXPECT_EQ(lna(), atFirst);
}

TEST_F(WebGains, NobodySetsThoseOfALockedReceiver) {
    configuration.tuning = hub::Tuning::locked;
    hub::Band band;
    hub::Receiver locked(band, configuration);
    const auto output = hub::openWeb(configuration, locked);
    const auto page = come();
    EXPECT_FALSE(stateWithGains(*page, true).at("mayTune"));
    const std::string atFirst = lna();
    page->say({{"type", "gain"}, {"name", "lna"}, {"value", 9}});
    page->words("state");
    EXPECT_EQ(lna(), atFirst);
}

TEST_F(WebGains, OfAServerOnAnotherMachineAreNotShown) {
    configuration.serverHost = "192.0.2.1";
    open();
    const auto page = come();
    EXPECT_TRUE(page->words("state").at("gains").is_null());
}

} // namespace
} // namespace feedline::test
