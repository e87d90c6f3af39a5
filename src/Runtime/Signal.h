#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <utility>

namespace kestrelle {

// Ends a subscription when destroyed. Safe to outlive what it subscribed to.
class Subscription {
public:
    Subscription() = default;
    explicit Subscription(std::function<void()> cancel) : cancel_(std::move(cancel)) {}
    Subscription(Subscription&& other) noexcept : cancel_(std::exchange(other.cancel_, nullptr)) {}
    Subscription& operator=(Subscription&& other) noexcept {
        if (this != &other) {
            reset();
            cancel_ = std::exchange(other.cancel_, nullptr);
        }
        return *this;
    }
    Subscription(const Subscription&) = delete;
    Subscription& operator=(const Subscription&) = delete;
    ~Subscription() { reset(); }

    void reset() {
        if (auto cancel = std::exchange(cancel_, nullptr)) {
            cancel();
        }
    }

private:
    std::function<void()> cancel_;
};

// A list of observers called synchronously, in subscription order. Observers may subscribe or
// unsubscribe while being called: a removed observer is not called again, a new one waits for
// the next emission.
template <class... Args>
class Signal {
public:
    Signal() = default;
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;

    [[nodiscard]] Subscription subscribe(std::function<void(Args...)> observer) {
        auto id = state_->nextId++;
        state_->observers.emplace(
            id, std::make_shared<std::function<void(Args...)>>(std::move(observer)));
        return Subscription([weak = std::weak_ptr<State>(state_), id] {
            if (auto state = weak.lock()) {
                state->observers.erase(id);
            }
        });
    }

    void emit(const Args&... args) const {
        auto state = state_;
        const auto end = state->nextId;
        for (auto it = state->observers.begin(); it != state->observers.end() && it->first < end;) {
            const auto id = it->first;
            auto observer = it->second; // stays alive if it unsubscribes itself
            (*observer)(args...);
            it = state->observers.upper_bound(id);
        }
    }

private:
    struct State {
        std::uint64_t nextId = 0;
        std::map<std::uint64_t, std::shared_ptr<std::function<void(Args...)>>> observers;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

} // namespace kestrelle
