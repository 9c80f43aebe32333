// SPDX-License-Identifier: MIT
#include "platform/qt/QtSettingsStore.h"

#include <QDir>
#include <QFile>
#include <QLockFile>
#include <QTemporaryDir>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <iterator>
#include <thread>

namespace feedline {
namespace {

using ::testing::Eq;
using ::testing::HasSubstr;
using ::testing::Optional;

/// One configuration folder for the process, since QSettings looks for it once.
const QString& configurationFolder() {
    static const QTemporaryDir folder;
    static const QString path = folder.path();
    return path;
}

class QtSettingsStore : public ::testing::Test {
protected:
    void SetUp() override {
        qunsetenv("FEEDLINE_SETTINGS");
        qputenv("XDG_CONFIG_HOME", configurationFolder().toUtf8());
        QDir(configurationFolder()).removeRecursively();
        QDir().mkpath(configurationFolder());
    }
    static std::string file() {
        return (configurationFolder() + "/feedline/feedline.conf").toStdString();
    }
    static void writeByHand(const std::string& general) {
        QDir().mkpath(configurationFolder() + "/feedline");
        std::ofstream(file()) << "[General]\n" << general;
    }
    static std::string content() {
        std::ifstream stream(file());
        return {std::istreambuf_iterator<char>(stream), {}};
    }

    feedline::QtSettingsStore store;
};

TEST_F(QtSettingsStore, MissingKeysReadAsZeroAndNothing) {
    EXPECT_EQ(store.integerForKey("sdrPortNumber"), 0);
    EXPECT_EQ(store.stringForKey("sdrUdpAdr"), std::nullopt);
}

TEST_F(QtSettingsStore, ReadsWhatPeopleWriteByHand) {
    writeByHand("sdrPortNumber=70000\nsdrType=-1\nsdrUdpAdr=192.168.1.20\n");
    EXPECT_EQ(store.integerForKey("sdrPortNumber"), 70000);
    EXPECT_EQ(store.integerForKey("sdrType"), -1);
    EXPECT_THAT(store.stringForKey("sdrUdpAdr"), Optional(Eq("192.168.1.20")));
}

TEST_F(QtSettingsStore, TheOrganisationsOwnFileIsNotRead) {
    std::ofstream(configurationFolder().toStdString() + "/feedline.conf")
        << "[General]\nsdrPortNumber=7\n";
    EXPECT_EQ(store.integerForKey("sdrPortNumber"), 0);
    EXPECT_EQ(store.stringForKey("sdrPortNumber"), std::nullopt);
}

TEST_F(QtSettingsStore, TheEnvironmentMayNameAnotherFile) {
    writeByHand("sdrPortNumber=50001\nsdrType=1\n");
    const std::string users = content();
    const QString other = configurationFolder() + "/elsewhere/other.conf";
    qputenv("FEEDLINE_SETTINGS", other.toUtf8());
    EXPECT_EQ(store.integerForKey("sdrPortNumber"), 0);
    store.setInteger(50002, "sdrPortNumber");
    store.synchronize();
    EXPECT_EQ(feedline::QtSettingsStore().integerForKey("sdrPortNumber"), 50002);
    EXPECT_TRUE(QFile::exists(other));
    EXPECT_EQ(content(), users);
    qputenv("FEEDLINE_SETTINGS", "");
    EXPECT_EQ(store.integerForKey("sdrPortNumber"), 50001);
}

TEST_F(QtSettingsStore, IntegersAreSixtyFourBitsWide) {
    writeByHand("sdrPortNumber=4294967297\n");
    EXPECT_EQ(store.integerForKey("sdrPortNumber"), 4294967297);
}

TEST_F(QtSettingsStore, TextThatIsNoNumberReadsAsZero) {
    writeByHand("sdrPortNumber=many\nsdrType=\n");
    EXPECT_EQ(store.integerForKey("sdrPortNumber"), 0);
    EXPECT_EQ(store.integerForKey("sdrType"), 0);
}

TEST_F(QtSettingsStore, AnEmptyTextIsAValue) {
    writeByHand("sdrUdpAdr=\n");
    EXPECT_THAT(store.stringForKey("sdrUdpAdr"), Optional(Eq("")));
}

TEST_F(QtSettingsStore, UnquotedCommasAreJustCommas) {
    writeByHand("sdrUdpAdr=10,0,0,1\nsdrPortNumber=50001,2\n");
    EXPECT_THAT(store.stringForKey("sdrUdpAdr"), Optional(Eq("10,0,0,1")));
    EXPECT_EQ(store.integerForKey("sdrPortNumber"), 50001);
}

TEST_F(QtSettingsStore, OddTextsComeBackAsTheyWere) {
    for (const std::string text :
         {"", " blanks around ", "a,b;c=d", "\"quoted\"", "@Invalid()", "@ByteArray(x)",
          "back\\slash", "Stra\u00DFe 5", "#no comment", "%41", "two\nlines"}) {
        store.setString(text, "sdrUdpAdr");
        store.synchronize();
        EXPECT_THAT(feedline::QtSettingsStore().stringForKey("sdrUdpAdr"), Optional(Eq(text)));
    }
}

TEST_F(QtSettingsStore, ChangesAreReadBackAtOnceAndWrittenTogether) {
    store.setInteger(50007, "sdrPortNumber");
    store.setString("127.0.0.1", "sdrUdpAdr");
    EXPECT_EQ(store.integerForKey("sdrPortNumber"), 50007);
    EXPECT_EQ(content(), "");
    store.synchronize();
    EXPECT_THAT(content(), HasSubstr("[General]"));
    EXPECT_THAT(content(), HasSubstr("sdrPortNumber=50007\n"));
    EXPECT_THAT(content(), HasSubstr("sdrUdpAdr=127.0.0.1\n"));
}

TEST_F(QtSettingsStore, KeysOfOthersStay) {
    writeByHand("somethingElse=7\n");
    store.setInteger(1, "sdrType");
    store.synchronize();
    EXPECT_THAT(content(), HasSubstr("somethingElse=7"));
}

TEST_F(QtSettingsStore, ASecondThreadSavesAsWell) {
    store.setInteger(50000, "sdrPortNumber");
    store.synchronize();
    std::thread([this] {
        store.setInteger(50001, "sdrPortNumber");
        store.synchronize();
    }).join();
    EXPECT_EQ(feedline::QtSettingsStore().integerForKey("sdrPortNumber"), 50001);
}

TEST_F(QtSettingsStore, AFolderThatCannotBeMadeIsNoHarm) {
    std::ofstream(configurationFolder().toStdString() + "/feedline") << "a file in the way";
    store.setInteger(50000, "sdrPortNumber");
    store.synchronize();
    EXPECT_EQ(store.integerForKey("sdrPortNumber"), 0);
}

TEST_F(QtSettingsStore, AFileThatCannotBeReplacedIsLeftAlone) {
    QDir().mkpath(QString::fromStdString(file()) + "/in the way");
    store.setInteger(50000, "sdrPortNumber");
    store.synchronize();
    EXPECT_EQ(store.integerForKey("sdrPortNumber"), 0);
    EXPECT_TRUE(QDir(QString::fromStdString(file()) + "/in the way").exists());
}

TEST_F(QtSettingsStore, ALockThatWasLeftBehindHoldsNoSaveUp) {
    // Empty, as a process leaves it that is killed between making it and writing its name to it.
    writeByHand("sdrUdpAdr=192.0.2.1\n");
    std::ofstream(file() + ".lock").close();
    store.setInteger(50001, "sdrPortNumber");
    const auto start = std::chrono::steady_clock::now();
    store.synchronize();
    // Half a minute otherwise.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(15));
    EXPECT_THAT(content(), HasSubstr("sdrPortNumber=50001"));
    EXPECT_FALSE(QFile::exists(QString::fromStdString(file() + ".lock")));
}

TEST_F(QtSettingsStore, ALockThatIsHeldLosesTheSaveAndNotTheFile) {
    writeByHand("sdrUdpAdr=192.0.2.1\n");
    const std::string before = content();
    QLockFile held(QString::fromStdString(file() + ".lock"));
    ASSERT_TRUE(held.lock());
    store.setInteger(50001, "sdrPortNumber");
    store.synchronize();
    EXPECT_EQ(content(), before);
    EXPECT_TRUE(held.isLocked());
}

TEST_F(QtSettingsStore, AFileOfNoiseHasNoKeys) {
    QDir().mkpath(configurationFolder() + "/feedline");
    std::ofstream(file()) << std::string(5000, '\xFF') << "[[[=\n===";
    EXPECT_EQ(store.integerForKey("sdrPortNumber"), 0);
    EXPECT_EQ(store.stringForKey("sdrUdpAdr"), std::nullopt);
}

} // namespace
} // namespace feedline
