// SPDX-License-Identifier: MIT
#include "protocol/CAscpTxMsg.h"

#include "Bytes.h"
#include "Loopback.h"
#include "ReplyPeer.h"
#include "app/RunTimeState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <functional>
#include <numeric>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace {
/// In place of `write` while set.
std::function<ssize_t(int, const void*, std::size_t)> writeInstead;
} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker gives these names.
extern "C" ssize_t __real_write(int descriptor, const void* bytes, size_t count);
extern "C" ssize_t __wrap_write(int descriptor, const void* bytes, size_t count) {
    return writeInstead ? writeInstead(descriptor, bytes, count)
                        : __real_write(descriptor, bytes, count);
}
// NOLINTEND(bugprone-reserved-identifier)

namespace feedline {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::string contents(const CAscpTxMsg& message) {
    return test::hex(std::span(message.Buf8).first(message.GetLength()));
}

CAscpTxMsg messageOfLength(std::size_t length) {
    CAscpTxMsg message;
    message.InitTxMsg(0);
    message.AddCItem(0x0018);
    while (message.GetLength() < length)
        message.AddParm8(static_cast<std::uint8_t>(message.GetLength()));
    return message;
}

class CAscpTxMsgSending : public ::testing::Test {
public:
    ~CAscpTxMsgSending() override { writeInstead = nullptr; }

protected:
    struct Write {
        int descriptor;
        std::size_t count;
        bool operator==(const Write&) const = default;
    };

    /// Answers every write with `result` and keeps what was asked for.
    void answerWrites(ssize_t result, int error = 0) {
        writeInstead = [this, result, error](int descriptor, const void*, std::size_t count) {
            writes.push_back({descriptor, count});
            errno = error;
            return result;
        };
    }

    std::vector<Write> writes;
    test::ReplyPeer peer;
};

TEST(CAscpTxMsg, StartsZeroed) {
    const CAscpTxMsg message;
    EXPECT_EQ(message.Buf8, (std::array<std::uint8_t, 8194>{}));
    EXPECT_EQ(message.GetLength(), 0);
}

TEST(CAscpTxMsg, HeaderAloneHoldsItsOwnLengthAndTheWholeTypeByte) {
    CAscpTxMsg message;
    message.InitTxMsg(0xBF);
    EXPECT_EQ(contents(message), "02 BF");
}

TEST(CAscpTxMsg, ItemFollowsTheHeader) {
    CAscpTxMsg message;
    message.InitTxMsg(0);
    message.AddCItem(0x0018);
    EXPECT_EQ(contents(message), "04 00 18 00");
    EXPECT_EQ(message.GetLength(), 4);
}

TEST(CAscpTxMsg, ItemIsLittleEndian) {
    CAscpTxMsg message;
    message.InitTxMsg(0);
    message.AddCItem(0x12B8);
    EXPECT_EQ(contents(message), "04 00 B8 12");
}

TEST(CAscpTxMsg, ItemGoesToItsPlaceWhereverTheCursorIs) {
    CAscpTxMsg message;
    message.InitTxMsg(0);
    message.AddParm32(0xFFFFFFFF);
    message.AddCItem(0x0018);
    EXPECT_EQ(contents(message), "08 00 18 00 FF FF 00 00");
}

TEST(CAscpTxMsg, Parm16IsLittleEndian) {
    CAscpTxMsg message = messageOfLength(4);
    message.AddParm16(123);
    EXPECT_EQ(contents(message), "06 00 18 00 7B 00");
    message.AddParm16(0xFE01);
    EXPECT_EQ(contents(message), "08 00 18 00 7B 00 01 FE");
}

TEST(CAscpTxMsg, Parm32IsLittleEndian) {
    CAscpTxMsg message = messageOfLength(4);
    message.AddParm32(0x12345678);
    EXPECT_EQ(contents(message), "08 00 18 00 78 56 34 12");
}

TEST(CAscpTxMsg, CursorWrapsAfter255AndThenWritesOverItself) {
    CAscpTxMsg message = messageOfLength(255);
    message.AddParm8(0xAA);
    EXPECT_EQ(message.Buf8[255], 0xAA);
    EXPECT_EQ(message.Buf8[0], 0);
    EXPECT_EQ(message.Buf8[256], 0);
    message.AddParm8(0x10); // To byte 0, which is the cursor, which then moves on by one.
    EXPECT_EQ(message.Buf8[0], 0x11);
}

TEST(CAscpTxMsg, CursorWrapsWithinALongParameter) {
    CAscpTxMsg message = messageOfLength(254);
    message.AddParm32(0x04030201);
    EXPECT_EQ(message.Buf8[254], 1);
    EXPECT_EQ(message.Buf8[255], 2);
    EXPECT_EQ(message.Buf8[4], 4); // The third byte went over the cursor, which then was 4.
    EXPECT_EQ(message.GetLength(), 5);
}

TEST(CAscpTxMsg, LengthCanBeSetToTheLowByteOfAValue) {
    CAscpTxMsg message = messageOfLength(10);
    message.SetTxMsgLength(0x1203);
    EXPECT_EQ(message.GetLength(), 3);
    EXPECT_EQ(message.Buf8[1], 0);
}

TEST(CAscpTxMsg, InitEmptiesTheLengthAloneWhateverItsArgument) {
    CAscpTxMsg message = messageOfLength(6);
    message.init(1234);
    EXPECT_EQ(message.GetLength(), 0);
    EXPECT_EQ(message.Buf8[2], 0x18);
}

TEST_F(CAscpTxMsgSending, GoesToTheClientAsItIs) {
    const CAscpTxMsg message = messageOfLength(8);
    message.SendAscpMsg(clientSocket);
    EXPECT_THAT(peer.take(), ElementsAre("08 00 18 00 04 05 06 07"));
}

TEST_F(CAscpTxMsgSending, GoesToTheClientSocketWhateverTheArgument) {
    const test::OwnedDescriptor other(::dup(STDERR_FILENO));
    messageOfLength(4).SendAscpMsg(other.get());
    messageOfLength(5).SendAscpMsg(-1);
    EXPECT_THAT(peer.take(), ElementsAre("04 00 18 00", "05 00 18 00 04"));
}

TEST_F(CAscpTxMsgSending, EightyFiveBytesAreWrittenWholeAndAtOnce) {
    const CAscpTxMsg message = messageOfLength(85);
    message.SendAscpMsg(clientSocket);
    EXPECT_THAT(peer.take(), ElementsAre(contents(message)));
    answerWrites(85);
    message.SendAscpMsg(clientSocket);
    EXPECT_THAT(writes, ElementsAre(Write{clientSocket, 85}));
}

TEST_F(CAscpTxMsgSending, EightySixBytesEndTheProcessBeforeAnythingIsWritten) {
    for (const std::size_t length : {86U, 87U, 255U}) {
        const CAscpTxMsg message = messageOfLength(length);
        EXPECT_EXIT(message.SendAscpMsg(clientSocket), ::testing::KilledBySignal(SIGABRT),
                    ::testing::StrEq("control message of " + std::to_string(length) +
                                     " bytes: more than 85 cannot be sent\n"));
    }
    EXPECT_THAT(peer.take(), IsEmpty()); // The socket was the dead processes' too.
}

TEST_F(CAscpTxMsgSending, LengthZeroWritesNoBytesOnce) {
    answerWrites(0);
    const CAscpTxMsg message;
    message.SendAscpMsg(clientSocket);
    EXPECT_THAT(writes, ElementsAre(Write{clientSocket, 0}));
}

TEST_F(CAscpTxMsgSending, ShortWriteIsNotCompleted) {
    answerWrites(3);
    messageOfLength(8).SendAscpMsg(clientSocket);
    EXPECT_THAT(writes, ElementsAre(Write{clientSocket, 8}));
}

TEST_F(CAscpTxMsgSending, FailedWriteIsNotRepeated) {
    for (const int error : {EPIPE, EINTR, EAGAIN, ECONNRESET}) {
        writes.clear();
        answerWrites(-1, error);
        messageOfLength(8).SendAscpMsg(clientSocket);
        EXPECT_THAT(writes, ElementsAre(Write{clientSocket, 8}));
    }
}

TEST_F(CAscpTxMsgSending, WithoutAClientNothingHappens) {
    clientSocket = -1;
    messageOfLength(8).SendAscpMsg(-1);
    EXPECT_THAT(peer.take(), IsEmpty());
}

TEST_F(CAscpTxMsgSending, LeavesTheMessageAsItIs) {
    const CAscpTxMsg message = messageOfLength(8);
    const std::string before = contents(message);
    message.SendAscpMsg(clientSocket);
    message.SendAscpMsg(clientSocket);
    EXPECT_EQ(contents(message), before);
    EXPECT_THAT(peer.take(), ElementsAre(before, before));
}

} // namespace
} // namespace feedline
