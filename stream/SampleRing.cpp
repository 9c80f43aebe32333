#include "stream/SampleRing.h"

#include "app/RunTimeState.h"
#include "platform/Log.h"

#include <cerrno>
#include <cstring>
#include <sys/mman.h>

namespace feedline {

bool makeSampleRing() {
    if (sampleRing != nullptr)
        return true;
    void* mapping =
        ::mmap(nullptr, ringBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED) {
        logLine("sample ring of %zu bytes could not be made: %s", ringBytes, std::strerror(errno));
        return false;
    }
    ringWriteIndex = 0;
    ringReadIndex = 0;
    sampleRing = static_cast<std::int16_t*>(mapping);
    return true;
}

void populateSampleRing() {
    // In large pages, where the system has them: a callback that runs every few milliseconds finds
    // nothing in the processor's caches, and looking up a page can cost it more than all it does
    // there.
    ::madvise(sampleRing, ringBytes, MADV_HUGEPAGE);
    if (::madvise(sampleRing, ringBytes, MADV_POPULATE_WRITE) != 0)
        logLine("sample ring of %zu bytes could not be put in memory: %s", ringBytes,
                std::strerror(errno));
}

} // namespace feedline
