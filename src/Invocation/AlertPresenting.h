#pragma once

#include <string>

namespace kestrelle {

// A modal warning with one button, as the platform's alert shows it.
struct AlertContent {
    std::string messageText;
    std::string informativeText;
    std::string buttonTitle = "OK";

    friend bool operator==(const AlertContent&, const AlertContent&) = default;
};

class AlertPresenting {
public:
    virtual ~AlertPresenting() = default;
    virtual void present(const AlertContent& alert) = 0;
};

} // namespace kestrelle
