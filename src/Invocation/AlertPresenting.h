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

// Shows warnings. Implemented over NSAlert on macOS and QMessageBox on Linux; faked by
// test::FakeAlerts.
//
// `present` returns at once, before the alert is shown: the adapter shows it from work posted
// to the main queue (macOS: `runModal` in a block given to the main queue; Linux: `exec` in work
// posted to the Qt event loop), so no caller is on the stack while the alert's modal loop runs. It
// brings Kestrelle to the front first: an agent without a Dock icon would otherwise open its alert
// behind the application the user was typing in. While an alert is up, whatever the modal loop lets
// run may run (on macOS, work on the main queue): callers present only once their own state is
// final, and nothing waits for the answer.
class AlertPresenting {
public:
    virtual ~AlertPresenting() = default;
    virtual void present(const AlertContent& alert) = 0;
};

} // namespace kestrelle
