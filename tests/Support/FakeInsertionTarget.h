#pragma once

#include "Invocation/CapturedInsertionTarget.h"

#include <optional>
#include <vector>

namespace kestrelle::test {

// A captured text field whose validation answer the test sets. Like the real one, it fails for
// good once another application was activated.
class FakeInsertionTarget final : public CapturedInsertionTarget {
public:
    explicit FakeInsertionTarget(std::int32_t pid) : pid(pid) {}

    std::int32_t processIdentifier() const override { return pid; }
    std::optional<InputInjectionError> validationError() override {
        ++validations;
        return failure ? std::optional(InputInjectionError(*failure)) : std::nullopt;
    }
    void recordApplicationActivation(std::optional<std::int32_t> processIdentifier) override {
        activations.push_back(processIdentifier);
        if (processIdentifier != pid) {
            failure = InputInjectionError::Kind::targetChanged;
        }
    }

    std::int32_t pid;
    std::optional<InputInjectionError::Kind> failure;
    int validations = 0;
    std::vector<std::optional<std::int32_t>> activations;
};

} // namespace kestrelle::test
