#pragma once

#include "Runtime/Executor.h"

#include <functional>
#include <map>
#include <optional>
#include <unordered_map>
#include <utility>

namespace kestrelle {

// Pending timers ordered by deadline, ties in the order they were scheduled.
class TimerQueue {
public:
    TimerId add(MonotonicTime deadline, std::function<void()> work);
    void cancel(TimerId timer);
    std::optional<MonotonicTime> nextDeadline() const;
    // Removes the earliest timer due at or before `now` and returns its work.
    std::optional<std::function<void()>> popDue(MonotonicTime now);
    std::size_t size() const { return timers_.size(); }
    void clear();

private:
    using Key = std::pair<MonotonicTime, std::uint64_t>;
    std::map<Key, std::function<void()>> timers_;
    std::unordered_map<std::uint64_t, MonotonicTime> deadlines_;
    std::uint64_t nextSequence_ = 1;
};

} // namespace kestrelle
