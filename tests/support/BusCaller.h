// SPDX-License-Identifier: MIT
// A caller of a server's controls, who may come, call and go as he likes.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

struct sd_bus;
struct sd_bus_message;

namespace feedline::test {

/// One thread. A call that cannot be made, and one without an answer for long, throws
/// std::runtime_error; an error that the server answers with is a result.
class BusCaller {
public:
    explicit BusCaller(const std::string& address);

    /// `meanwhile` runs over and over while an answer is awaited: a server in the same thread.
    std::function<void()> meanwhile = [] {
    };

    /// Waits until somebody has the name; false after `longestWait`.
    bool awaitServer();
    bool serverIsThere();

    std::string text(const std::string& property);
    bool flag(const std::string& property);
    std::int32_t number(const std::string& property);
    std::vector<std::string> texts(const std::string& property);
    struct Alert {
        std::string text;
        std::uint64_t time;
    };
    Alert lastAlert();

    /// The results are empty, or the error's name and text with a blank between.
    std::string set(const std::string& property, const std::string& value);
    std::string set(const std::string& property, const char* value);
    std::string set(const std::string& property, std::int32_t value);
    std::string set(const std::string& property, bool value);
    std::string call(const std::string& method);

    std::string introspection();

    /// Sends the call and does not wait for an answer.
    void send(const std::string& method);

    /// Takes what has come.
    void process();

    /// Answers to `send` so far.
    int answers() const { return *answers_; }

    /// From here on `changed` knows every property that a signal has named.
    void watch();
    const std::set<std::string>& changed() const { return *changed_; }
    void forget() { changed_->clear(); }

private:
    struct Close {
        void operator()(sd_bus* bus) const;
        void operator()(sd_bus_message* message) const;
    };
    using Message = std::unique_ptr<sd_bus_message, Close>;

    Message newCall(const char* interface, const std::string& method) const;
    Message newCall(const char* interface, const std::string& method,
                    const std::vector<std::string>& arguments) const;
    /// The answer, whatever it is.
    Message answerTo(const Message& call);
    Message read(const std::string& property, const char* type);
    std::string outcome(const Message& call);

    std::unique_ptr<sd_bus, Close> bus_;
    std::unique_ptr<int> answers_ = std::make_unique<int>(0);
    std::unique_ptr<std::set<std::string>> changed_ = std::make_unique<std::set<std::string>>();
};

} // namespace feedline::test
