#pragma once

#include "Runtime/SerialQueue.h"

namespace kestrelle::test {

// Runs "background" work at once on the calling thread; the awaiting coroutine still resumes
// from the executor's queue.
class InlineQueue final : public SerialQueue {
public:
    void async(std::function<void()> work) override {
        ++dispatchCount;
        work();
    }
    int dispatchCount = 0;
};

} // namespace kestrelle::test
