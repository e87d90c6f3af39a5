#include "Runtime/TimerQueue.h"

namespace kestrelle {

TimerId TimerQueue::add(MonotonicTime deadline, std::function<void()> work) {
    auto sequence = nextSequence_++;
    timers_.emplace(Key{deadline, sequence}, std::move(work));
    deadlines_.emplace(sequence, deadline);
    return TimerId{sequence};
}

void TimerQueue::cancel(TimerId timer) {
    auto sequence = static_cast<std::uint64_t>(timer);
    if (auto found = deadlines_.find(sequence); found != deadlines_.end()) {
        timers_.erase(Key{found->second, sequence});
        deadlines_.erase(found);
    }
}

std::optional<MonotonicTime> TimerQueue::nextDeadline() const {
    if (timers_.empty()) {
        return std::nullopt;
    }
    return timers_.begin()->first.first;
}

std::optional<std::function<void()>> TimerQueue::popDue(MonotonicTime now) {
    if (timers_.empty() || timers_.begin()->first.first > now) {
        return std::nullopt;
    }
    auto node = timers_.extract(timers_.begin());
    deadlines_.erase(node.key().second);
    return std::move(node.mapped());
}

void TimerQueue::clear() {
    // Work may own frames' state; destroy it outside the containers' own bookkeeping.
    auto timers = std::move(timers_);
    timers_.clear();
    deadlines_.clear();
}

} // namespace kestrelle
