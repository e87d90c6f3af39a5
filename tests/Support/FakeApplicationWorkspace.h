#pragma once

#include "Invocation/ApplicationWorkspace.h"

#include <functional>

namespace kestrelle::test {

class FakeApplicationWorkspace final : public ApplicationWorkspace {
public:
    std::optional<FrontmostApplication> frontmostApplication() override {
        auto answer = frontmost;
        if (afterFrontmostRead) {
            afterFrontmostRead(); // to switch applications mid-way
        }
        return answer;
    }
    std::int32_t currentProcessIdentifier() override { return currentPid; }

    std::optional<FrontmostApplication> frontmost;
    std::int32_t currentPid = 1;
    std::function<void()> afterFrontmostRead;
};

} // namespace kestrelle::test
