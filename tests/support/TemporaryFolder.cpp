// SPDX-License-Identifier: MIT
#include "TemporaryFolder.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <unistd.h>

namespace feedline::test {

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder() {
    const fs::path memory = "/dev/shm";
    const bool usable = access(memory.c_str(), W_OK | X_OK) == 0;
    std::string name = (usable ? memory : fs::temp_directory_path()) / "feedline-test-XXXXXX";
    if (mkdtemp(name.data()) == nullptr)
        throw std::runtime_error("no temporary folder");
    path_ = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::string TemporaryFolder::contentOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

} // namespace feedline::test
