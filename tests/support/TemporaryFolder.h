// SPDX-License-Identifier: MIT
// A folder of a test's own, gone with the object.
#pragma once

#include <filesystem>
#include <string>

namespace feedline::test {

/// In memory where that is to be had: saved settings are synced, and a busy disk takes its time.
class TemporaryFolder {
public:
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    const std::filesystem::path& path() const { return path_; }

    std::string file(const std::string& name) const { return (path_ / name).string(); }
    bool has(const std::string& name) const { return std::filesystem::exists(file(name)); }
    bool empty() const { return std::filesystem::is_empty(path_); }
    std::uintmax_t size(const std::string& name) const {
        return std::filesystem::file_size(file(name));
    }
    std::string content(const std::string& name) const { return contentOf(path_ / name); }

    /// Of any file; empty when it cannot be read.
    static std::string contentOf(const std::filesystem::path& file);

private:
    std::filesystem::path path_;
};

} // namespace feedline::test
