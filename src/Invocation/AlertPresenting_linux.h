#pragma once

#include "Invocation/AlertPresenting.h"

namespace kestrelle {

// Warnings as application-modal QMessageBoxes, each run from work posted to the Qt event loop.
class MessageBoxAlerts final : public AlertPresenting {
public:
    void present(const AlertContent& alert) override;
};

} // namespace kestrelle
