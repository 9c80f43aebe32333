// SPDX-License-Identifier: MIT
// How many there may be, in all and from one address.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace feedline::hub::web {

/// Any thread.
class Places {
public:
    Places(std::size_t all, std::size_t perAddress);

    /// A place, which is given back when the last copy is gone; null when there is none. Places may
    /// be given back after this object is gone.
    std::shared_ptr<void> take(const std::string& address);

private:
    struct Counts {
        std::mutex mutex; ///< guards what follows
        std::size_t all = 0;
        std::map<std::string, std::size_t> byAddress;
    };
    std::size_t all_;
    std::size_t perAddress_;
    std::shared_ptr<Counts> counts_ = std::make_shared<Counts>();
};

} // namespace feedline::hub::web
