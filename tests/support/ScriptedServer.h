// SPDX-License-Identifier: MIT
// A server that does to its client whatever a test wants: answers properly or not at all, dies in
// the middle of a message, sends datagrams with any number, of any length, in any order.
#pragma once

#include "Bytes.h"
#include "Loopback.h"
#include "ScriptedStream.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace feedline::test {

/// Listens on a port of its own on the loopback address, whose number is free for UDP too, and
/// serves one client at a time on a thread of its own. Methods: any thread.
class ScriptedServer {
public:
    /// The answer to one message, sent as it stands (empty: none). With `thenClose` the connection
    /// is closed after it.
    struct Answer {
        Bytes bytes;
        bool thenClose = false;
    };
    using Script = std::function<Answer(const Bytes& message)>;
    using Samples = DatagramSamples;

    /// Without a script it answers as the real server would, with the status that its stream has.
    explicit ScriptedServer(Script script = {});
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;
    ~ScriptedServer();

    std::uint16_t port() const { return port_.number(); }
    std::string address() const { return "127.0.0.1:" + port_.text(); }

    /// What the real server answers with an idle HF+; sets are echoed.
    static Answer properAnswer(const Bytes& message);

    /// An answer to the message with these parameters.
    static Bytes reply(const Bytes& message, const Bytes& parameters);

    /// The messages received so far.
    std::vector<Bytes> messages();

    /// Waits until a message with these first bytes has been answered.
    bool waitForMessage(const Bytes& beginning);
    bool waitForRun() { return waitForMessage({8, 0, 0x18, 0, 0x80, 2}); }
    bool waitForStop() { return waitForMessage({8, 0, 0x18, 0, 0x80, 1}); }

    /// From now on a set of the state to run begins this stream, whose numbers go on from run to
    /// run, and one to stop ends it. A client that goes leaves it running.
    void streamWhenRun(StreamPlan plan);

    /// Datagrams of that stream so far, lost ones too.
    std::int64_t streamed();

    void sendDatagram(std::uint16_t number, const Samples& samples = {});
    void sendBytes(const std::uint8_t* bytes, std::size_t count);

    /// Ends the client's connection; the next client is served.
    void dropClient();

    /// Ends the client's connection, and every later one as soon as it is made.
    void hangUp();

private:
    void serve();
    void setClient(int client);
    bool answer(int client, const Bytes& message);
    Answer ownAnswer(const Bytes& message);
    void obey(const Bytes& message);
    void cutClientOff() const; ///< with the mutex held

    Script script_;
    ReservedPort port_;
    OwnedDescriptor listener_;
    OwnedDescriptor udp_;
    std::mutex mutex_; ///< guards everything below
    std::condition_variable changed_;
    std::vector<Bytes> messages_;
    int client_ = -1;
    bool hungUp_ = false;
    bool runs_ = false;
    std::optional<StreamPlan> plan_; ///< of the next run
    std::unique_ptr<ScriptedStream> stream_;
    std::thread thread_;
};

} // namespace feedline::test
