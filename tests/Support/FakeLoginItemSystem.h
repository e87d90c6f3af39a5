#pragma once

#include "System/LoginItemSystemService.h"

#include <deque>
#include <utility>

namespace kestrelle::test {

// Holds each register or unregister request until the test completes it.
class FakeLoginItemSystem final : public LoginItemSystemService {
public:
    std::int64_t status() override { return currentStatus; }
    void registerItem(Completion completion) override {
        ++registerCount;
        pending.push_back(std::move(completion));
    }
    void unregisterItem(Completion completion) override {
        ++unregisterCount;
        pending.push_back(std::move(completion));
    }
    void openLoginItemsSettings() override {}

    // Ends the oldest request; `statusAfter` is what the platform reports from then on.
    void complete(std::int64_t statusAfter, std::optional<std::string> errorDescription = {}) {
        currentStatus = statusAfter;
        auto completion = std::move(pending.front());
        pending.pop_front();
        completion(std::move(errorDescription));
    }

    std::int64_t currentStatus = statusNotRegistered;
    int registerCount = 0, unregisterCount = 0;
    std::deque<Completion> pending;
};

} // namespace kestrelle::test
