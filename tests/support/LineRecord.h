// SPDX-License-Identifier: MIT
// Lines in the order in which they came, cheap to add, to compare and to forget: fuzz targets do so
// a million times a minute.
#pragma once

#include "RecordingLog.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace feedline::test {

/// One text holds all of them, and keeps its room when it is emptied. One thread at a time.
class LineRecord {
public:
    LineRecord() {
        texts_.reserve(4096); // Many small rooms would be most of what a short round costs.
        ends_.reserve(64);
    }

    void add(Line::Stream stream, std::string_view text) {
        texts_ += text;
        ends_.push_back({stream, texts_.size()});
    }
    void clear() {
        texts_.clear();
        ends_.clear();
    }
    std::vector<Line> lines() const {
        std::vector<Line> all;
        std::size_t begin = 0;
        for (const auto& [stream, end] : ends_) {
            all.push_back({stream, texts_.substr(begin, end - begin)});
            begin = end;
        }
        return all;
    }
    bool operator==(const LineRecord&) const = default;

private:
    struct End {
        Line::Stream stream;
        std::size_t place; ///< in the text
        bool operator==(const End&) const = default;
    };
    std::string texts_;
    std::vector<End> ends_;
};

/// Whether these lines and no others have been recorded so far. Any thread.
bool recordedAre(const LineRecord& expected);

} // namespace feedline::test
