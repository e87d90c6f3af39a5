#pragma once

#include "Invocation/AlertPresenting.h"

#include <vector>

namespace kestrelle::test {

class FakeAlerts final : public AlertPresenting {
public:
    void present(const AlertContent& alert) override { shown.push_back(alert); }
    std::vector<AlertContent> shown;
};

} // namespace kestrelle::test
