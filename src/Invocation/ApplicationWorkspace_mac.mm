#include "Invocation/ApplicationWorkspace_mac.h"

#import <AppKit/AppKit.h>

#include <unistd.h>

namespace kestrelle {

namespace {

std::optional<std::string> toString(NSString *text) {
    if (text == nil) {
        return std::nullopt;
    }
    return std::string(text.UTF8String);
}

} // namespace

std::optional<FrontmostApplication> NSWorkspaceApplications::frontmostApplication() {
    NSRunningApplication *application = [NSWorkspace sharedWorkspace].frontmostApplication;
    if (application == nil) {
        return std::nullopt;
    }
    return FrontmostApplication{.processIdentifier = application.processIdentifier,
                                .bundleIdentifier = toString(application.bundleIdentifier)};
}

std::int32_t NSWorkspaceApplications::currentProcessIdentifier() { return ::getpid(); }

} // namespace kestrelle
