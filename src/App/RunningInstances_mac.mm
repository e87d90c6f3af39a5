#include "App/RunningInstances_mac.h"

#import <AppKit/AppKit.h>

#include <unistd.h>

namespace kestrelle {

std::optional<std::string> LaunchServicesRunningInstances::mainBundleIdentifier() {
    NSRunningApplication *current = [NSRunningApplication currentApplication];
    NSString *identifier = current.bundleIdentifier;
    if (identifier == nil) {
        return std::nullopt;
    }
    return std::string(identifier.UTF8String);
}

std::int32_t LaunchServicesRunningInstances::currentProcessIdentifier() { return ::getpid(); }

std::vector<std::int32_t>
LaunchServicesRunningInstances::runningApplications(const std::string &bundleIdentifier) {
    std::vector<std::int32_t> identifiers;
    for (NSRunningApplication *application : [NSRunningApplication
             runningApplicationsWithBundleIdentifier:@(bundleIdentifier.c_str())]) {
        identifiers.push_back(application.processIdentifier);
    }
    return identifiers;
}

void LaunchServicesRunningInstances::activate(std::int32_t processIdentifier) {
    [[NSRunningApplication runningApplicationWithProcessIdentifier:processIdentifier]
        activateWithOptions:0];
}

void LaunchServicesRunningInstances::terminate() { [NSApp terminate:nil]; }

} // namespace kestrelle
