#include "Invocation/AlertPresenting_mac.h"

#include "Runtime/FoundationText_mac.h"

#import <AppKit/AppKit.h>
#include <dispatch/dispatch.h>

namespace kestrelle {

namespace {

class ModalAlerts final : public AlertPresenting {
  public:
    void present(const AlertContent &content) override {
        NSString *message = foundationString(content.messageText);
        NSString *information = foundationString(content.informativeText);
        NSString *button = foundationString(content.buttonTitle);
        dispatch_async(dispatch_get_main_queue(), ^{
            [[NSApplication sharedApplication] activateIgnoringOtherApps:YES];
            // Warning is NSAlert's default style.
            NSAlert *alert = [[NSAlert alloc] init];
            alert.messageText = message;
            alert.informativeText = information;
            [alert addButtonWithTitle:button];
            [alert runModal];
        });
    }
};

} // namespace

std::unique_ptr<AlertPresenting> makeModalAlerts() { return std::make_unique<ModalAlerts>(); }

} // namespace kestrelle
