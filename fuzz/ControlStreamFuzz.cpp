// SPDX-License-Identifier: MIT
// Reaches: everything between a chunk of bytes from the client and what follows from it - framing,
// control items, the dispatch to both back-ends' start, stop and tuning, open or not, answering or
// failing, the pop-up changing the receiver between chunks and under an alert. After every step the
// server's whole trace (replies to the byte, log lines, alerts, calls of the receiver libraries, in
// their order) and the state it leaves must equal those of an independent model, so that a wrong
// answer is found and not only a crash.
//
// Leaves out: sockets and threads (the listener, receive, the clean-up), which the life-cycle and
// fault-injection tests drive with real ones; initialisation, whose inputs are a receiver's and not
// a client's; the making of the sample ring, done once before the first round because its 32 MiB
// would be all that is measured.
//
// Longest input: 128 bytes. It is a list of steps, so that short inputs reach long messages: see
// `Script`.
#include "ControlStreamModel.h"
#include "FuzzedServer.h"
#include "stream/SampleRing.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <sstream>
#include <sys/types.h>

namespace feedline::fuzz {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::size_t largestChunk = 2000; ///< what one receive can bring

constexpr int clientDescriptor = 1000000; ///< stands for the client's socket

/// The bytes of an input, each taken once; zeros when there are none left.
class Source {
public:
    explicit Source(Bytes bytes) : left_(bytes) {}
    bool empty() const { return left_.empty(); }
    std::uint8_t byte() {
        if (left_.empty())
            return 0;
        const std::uint8_t first = left_.front();
        left_ = left_.subspan(1);
        return first;
    }
    Bytes take(std::size_t count) {
        const Bytes taken = left_.first(std::min(count, left_.size()));
        left_ = left_.subspan(taken.size());
        return taken;
    }

private:
    Bytes left_;
};

/// Server and model, kept in step. It is the server's alert itself: hundreds may be shown in a
/// round.
class Script : public Alert {
public:
    Script() {
        clientSocket = clientDescriptor;
        tcpStatus = tcpConnected;
        test::vendors().onCall = test::note;
    }

    void step(Source& source) {
        switch (source.byte() % 16) {
        case 1:
            fill(source.byte(), std::size_t{8} * source.byte());
            break;
        case 2:
            choose(static_cast<std::int8_t>(source.byte()));
            break;
        case 3:
            nothing(-static_cast<std::int32_t>(source.byte()));
            break;
        case 4:
            answer(source.byte(), static_cast<std::int8_t>(source.byte()));
            break;
        case 5:
            open(source.byte());
            break;
        case 6:
            chooseUnderAlert(source.byte());
            break;
        default:
            chunk(source.take(source.byte() % 64));
            break;
        }
        compare();
    }

private:
    void runModal(const std::string& message, const std::string& information) override {
        test::note(noteOfAlert(message, information));
        if (model_.chosenWhileAlertIsUp)
            select(*model_.chosenWhileAlertIsUp);
    }

    void chunk(Bytes bytes) {
        server_.delegate.myDidReadData(bytes.data(), static_cast<std::int32_t>(bytes.size()));
        for (const std::uint8_t byte : bytes)
            model_.takeByte(byte);
    }

    void fill(std::uint8_t value, std::size_t count) {
        std::array<std::uint8_t, largestChunk>
            bytes; // NOLINT(cppcoreguidelines-pro-type-member-init)
        count = std::min({count, bytes.size(), filling_});
        filling_ -= count; // One longest message an input: more of it would only be slow.
        std::fill_n(bytes.begin(), count, value);
        chunk({bytes.data(), count});
    }

    void nothing(std::int32_t length) {
        const std::uint8_t unread = 2;
        server_.delegate.myDidReadData(&unread, length);
    }

    void select(std::int32_t index) {
        server_.devicePopup.selected = index;
        server_.delegate.devicePopupChange();
    }

    void choose(std::int32_t index) {
        select(index);
        model_.choose(index);
    }

    void answer(std::uint8_t which, int result) {
        auto& results = test::vendors().results;
        if (which % 3 == 0)
            results["airspyhf_start"] = results["airspy_start_rx"] = model_.startAnswer = result;
        else if (which % 3 == 1)
            results["airspyhf_stop"] = results["airspy_stop_rx"] = model_.stopAnswer = result;
        else
            results["airspyhf_set_freq"] = results["airspy_set_freq"] = model_.tuneAnswer = result;
    }

    void open(std::uint8_t which) {
        model_.hfOpen = (which & 1U) != 0;
        model_.airspyOpen = (which & 2U) != 0;
        hfDevice = model_.hfOpen ? test::hfHandle() : nullptr;
        airspyDevice = model_.airspyOpen ? test::airspyHandle() : nullptr;
    }

    void chooseUnderAlert(std::uint8_t index) {
        model_.chosenWhileAlertIsUp.reset();
        if (index <= 2)
            model_.chosenWhileAlertIsUp = index;
    }

    void compare() {
        const bool alike =
            test::recordedAre(model_.expected) && (isStreaming != 0) == model_.streaming &&
            centerFrequency == model_.frequency && deviceType == model_.type &&
            clientSocket == clientDescriptor && tcpStatus == tcpConnected && serverActive;
        if (!alike)
            complain();
        test::clearRecordedLines();
        model_.expected.clear();
    }

    [[noreturn]] void complain() {
        std::fprintf(
            stderr, "server: %s\nmodel:  %s\nstreaming %d %d, frequency %d %d, type %d %d\n",
            printable(test::recordedLines()).c_str(), printable(model_.expected.lines()).c_str(),
            int{isStreaming}, int{model_.streaming}, centerFrequency.load(), model_.frequency,
            deviceType.load(), model_.type);
        std::abort();
    }

    static std::string printable(const std::vector<test::Line>& lines) {
        std::ostringstream text;
        for (const test::Line& line : lines) {
            text << line.stream << ':';
            for (const unsigned char c : line.text)
                c<32 || c> 126 ? text << '\\' << int{c} : text << static_cast<char>(c);
            text << "; ";
        }
        return text.str();
    }

    std::size_t filling_ = 8200;
    FuzzedServer server_{*this};
    ControlStreamModel model_;
};

} // namespace
} // namespace feedline::fuzz

// NOLINTBEGIN(bugprone-reserved-identifier): the linker gives these names.
extern "C" ssize_t __real_write(int descriptor, const void* bytes, size_t count);
extern "C" ssize_t __wrap_write(int descriptor, const void* bytes, size_t count) {
    using namespace feedline;
    if (descriptor != fuzz::clientDescriptor)
        return __real_write(descriptor, bytes, count);
    test::note(fuzz::noteOfReply({static_cast<const char*>(bytes), count}));
    return static_cast<ssize_t>(count);
}
// NOLINTEND(bugprone-reserved-identifier)

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    return feedline::makeSampleRing() ? 0 : 1;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    feedline::fuzz::Script script;
    feedline::fuzz::Source source({data, size});
    while (!source.empty())
        script.step(source);
    return 0;
}
