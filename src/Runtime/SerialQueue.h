#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <thread>

namespace kestrelle {

// Runs blocking work off the main thread, one item at a time, in order. Real: BackgroundQueue
// below. Fakes: tests/Support/InlineQueue.h (runs at once), ManualQueue.h (runs when told).
class SerialQueue {
public:
    virtual ~SerialQueue() = default;
    virtual void async(std::function<void()> work) = 0;
};

// A SerialQueue with one worker thread of its own. Destruction finishes the queued work.
class BackgroundQueue final : public SerialQueue {
public:
    BackgroundQueue();
    ~BackgroundQueue() override;

    void async(std::function<void()> work) override;

private:
    void run();

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> work_;
    bool stopping_ = false;
    std::thread worker_;
};

} // namespace kestrelle
