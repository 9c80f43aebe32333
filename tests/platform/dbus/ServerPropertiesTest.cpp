// SPDX-License-Identifier: MIT
// What a caller reads, and which values the controls take from him.
#include "platform/dbus/ServerProperties.h"

#include "ScriptedControls.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <stdexcept>

namespace feedline::dbus {

void PrintTo(const Value& value, std::ostream* out) {
    if (const auto* text = std::get_if<std::string>(&value))
        *out << '"' << *text << '"';
    else if (const auto* number = std::get_if<std::int32_t>(&value))
        *out << *number;
    else
        *out << "value of type " << value.index();
}

} // namespace feedline::dbus

namespace feedline::test {
namespace {

using dbus::Property;
using dbus::Value;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct ServerPropertiesTest : ::testing::Test {
    ScriptedControls scripted;
    ServerControls controls = scripted.controls();
    std::vector<Property> properties = dbus::propertiesOf(controls);

    const Property& property(const std::string& name) const {
        for (const Property& candidate : properties)
            if (name == candidate.name)
                return candidate;
        throw std::logic_error("no property " + name);
    }
    Value read(const std::string& name) const { return property(name).read(); }
    std::string write(const std::string& name, const Value& value) const {
        return property(name).write(value);
    }
};

Value text(const char* value) {
    return std::string(value);
}
Value texts(std::vector<std::string> values) {
    return values;
}

TEST_F(ServerPropertiesTest, TheLinesAreReadWholeAndCannotBeWritten) {
    const std::vector<std::pair<const char*, const char*>> lines{
        {"TcpStatus", "TCP Server: WAITING FOR CONNECT"},
        {"RemoteAddress", "Remote Address: NOT CONNECTED"},
        {"Running", "AirSpyHF+ IDLE"},
        {"CenterFrequency", "Center Frequency: 0.000 kHz"}};
    for (const auto& [name, value] : lines) {
        EXPECT_EQ(read(name), text(value));
        EXPECT_FALSE(property(name).write) << name;
    }
}

TEST_F(ServerPropertiesTest, TellWhatTheUserSeesWithHisEyes) {
    scripted.alert = {"No AirSpyHF+ found - Is it plugged in?", 1234567};
    scripted.listening = false;
    EXPECT_EQ(read("Listening"), Value(false));
    EXPECT_EQ(read("LastAlert"), Value(scripted.alert));
    EXPECT_FALSE(property("Listening").write);
    EXPECT_FALSE(property("LastAlert").write);
}

TEST_F(ServerPropertiesTest, TheTypesAreThoseOfTheValues) {
    for (const Property& property : properties) {
        const std::vector<std::string> types{"b", "i", "s", "as", "(st)"};
        EXPECT_EQ(property.type, types.at(property.read().index())) << property.name;
    }
}

TEST_F(ServerPropertiesTest, AWrittenTextLandsInItsField) {
    EXPECT_EQ(write("Address", text("192.168.1.20")), "");
    EXPECT_EQ(scripted.address.stringValue(), "192.168.1.20");
    EXPECT_EQ(write("Port", text("70000")), ""); // As the field takes it.
    EXPECT_EQ(scripted.port.stringValue(), "70000");
    EXPECT_THAT(scripted.done, IsEmpty());
}

TEST_F(ServerPropertiesTest, ThePortTakesWhatCanBeTypedThere) {
    for (const char* good : {"", "1", "+1", "-1", "00050001", "99999999999999999999"})
        EXPECT_EQ(write("Port", text(good)), "") << good;
    for (const char* bad : {" 1", "1 ", "a", "1a", "0x10", "++1", "1+", "1\n", "٣"})
        EXPECT_EQ(write("Port", text(bad)), "Port takes an optional sign and digits, or nothing")
            << bad;
    EXPECT_EQ(scripted.port.stringValue(), "99999999999999999999"); // The last good one.
}

TEST_F(ServerPropertiesTest, TheAddressTakesOneLineThatTheNextStartSurvives) {
    const std::string longest(255, 'a');
    EXPECT_EQ(write("Address", longest), "");
    EXPECT_EQ(scripted.address.stringValue(), longest);
    for (const std::string& bad : {longest + "a", std::string("a\nb"), std::string("\033[2J")})
        EXPECT_EQ(write("Address", bad), "Address takes one line of at most 255 bytes");
    EXPECT_EQ(scripted.address.stringValue(), longest);
    EXPECT_EQ(write("Address", text("")), "");
}

TEST_F(ServerPropertiesTest, ADeviceChoiceRunsThePopUpsAction) {
    EXPECT_EQ(read("Devices"), texts({"AirSpyHF+", "AirSpy"}));
    EXPECT_EQ(write("Device", text("AirSpy")), "");
    EXPECT_EQ(read("Device"), text("AirSpy"));
    EXPECT_EQ(write("Device", text("AirSpy")), ""); // Chosen again, it acts again.
    EXPECT_THAT(scripted.done, ElementsAre("device 1", "device 1"));
}

TEST_F(ServerPropertiesTest, ADeviceThatIsNotInTheListIsRefused) {
    for (const char* bad : {"", "airspy", "AirSpy ", "1"})
        EXPECT_EQ(write("Device", text(bad)), "Device takes one of: AirSpyHF+, AirSpy") << bad;
    EXPECT_THAT(scripted.done, IsEmpty());
}

TEST_F(ServerPropertiesTest, AStoredTypeThatIsNoneOfTheListReadsAsNone) {
    scripted.device = -1;
    EXPECT_EQ(read("Device"), text(""));
}

TEST_F(ServerPropertiesTest, TheOpenAndTheHeldReceiversGoByTheirTitles) {
    scripted.openDevice = 1;
    scripted.heldDevices = {0, 1};
    EXPECT_EQ(read("OpenDevice"), text("AirSpy"));
    EXPECT_EQ(read("HeldDevices"), texts({"AirSpyHF+", "AirSpy"}));
    scripted.openDevice = -1;
    scripted.heldDevices = {};
    EXPECT_EQ(read("OpenDevice"), text(""));
    EXPECT_EQ(read("HeldDevices"), texts({}));
}

struct Range {
    const char* name;
    int number; ///< among the scripted gains
    std::int32_t highest;
};
class GainProperty : public ServerPropertiesTest, public ::testing::WithParamInterface<Range> {};

INSTANTIATE_TEST_SUITE_P(Gains, GainProperty,
                         ::testing::Values(Range{"LnaGain", 2, 14}, Range{"MixerGain", 3, 15},
                                           Range{"VgaGain", 4, 15}, Range{"Linearity", 5, 21},
                                           Range{"Sensitivity", 6, 21}),
                         [](const auto& range) { return range.param.name; });

TEST_P(GainProperty, RunsItsActionAtEveryWriteWithinItsRange) {
    const auto& [name, number, highest] = GetParam();
    const std::string action = "gain " + std::to_string(number) + " ";
    EXPECT_EQ(write(name, 0), "");
    EXPECT_EQ(write(name, highest), "");
    EXPECT_EQ(write(name, highest), "");
    const std::string top = action + std::to_string(highest);
    EXPECT_THAT(scripted.done, ElementsAre(action + "0", top, top));
    EXPECT_EQ(read(name), Value(highest));
}

TEST_P(GainProperty, SaysItsRangeToWhoeverLeavesIt) {
    const auto& [name, number, highest] = GetParam();
    const std::string range = std::string(name) + " takes 0 to " + std::to_string(highest);
    for (const std::int32_t bad : {-1, highest + 1, 256, INT32_MIN, INT32_MAX})
        EXPECT_EQ(write(name, bad), range) << bad;
    EXPECT_THAT(scripted.done, IsEmpty());
}

TEST_F(ServerPropertiesTest, TheSwitchesGoOnAndOff) {
    EXPECT_EQ(write("LnaAgc", true), "");
    EXPECT_EQ(write("MixerAgc", true), "");
    EXPECT_EQ(read("LnaAgc"), Value(true));
    EXPECT_EQ(write("LnaAgc", false), "");
    EXPECT_EQ(read("LnaAgc"), Value(false));
    EXPECT_THAT(scripted.done, ElementsAre("gain 0 1", "gain 1 1", "gain 0 0"));
}

} // namespace
} // namespace feedline::test
