// A folder of a test's own, gone with the test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace feedline::test {

class TemporaryFolder {
public:
    TemporaryFolder() {
        std::string pattern = (std::filesystem::temp_directory_path() / "feedline-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("no temporary folder");
        path_ = pattern;
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() { std::filesystem::remove_all(path_); }

    std::string file(const std::string& name) const { return (path_ / name).string(); }
    bool has(const std::string& name) const { return std::filesystem::exists(file(name)); }
    bool empty() const { return std::filesystem::is_empty(path_); }
    std::uintmax_t size(const std::string& name) const {
        return std::filesystem::file_size(file(name));
    }
    std::string content(const std::string& name) const {
        std::ifstream stream(file(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

private:
    std::filesystem::path path_;
};

} // namespace feedline::test
