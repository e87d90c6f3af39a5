#pragma once

#include "Runtime/Signal.h"

#include <functional>
#include <utility>

namespace kestrelle {

// A value that tells its observers about every assignment, equal values included.
class ObservableBase {
public:
    // Sent before the value changes; views use it to schedule a redraw.
    [[nodiscard]] Subscription subscribeWillChange(std::function<void()> observer) {
        return willChange_.subscribe(std::move(observer));
    }

protected:
    Signal<> willChange_;
};

template <class T>
class Observable : public ObservableBase {
public:
    explicit Observable(T initial = T{}) : value_(std::move(initial)) {}

    const T& get() const { return value_; }

    void set(T value) {
        willChange_.emit();
        value_ = std::move(value);
        changed_.emit(value_);
    }

    // Calls `observer` with the current value at once, then after every assignment.
    [[nodiscard]] Subscription subscribe(std::function<void(const T&)> observer) {
        observer(value_);
        return changed_.subscribe(std::move(observer));
    }

private:
    T value_;
    Signal<T> changed_;
};

} // namespace kestrelle
