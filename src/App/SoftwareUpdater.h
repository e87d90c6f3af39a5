#pragma once

namespace kestrelle {

// The platform's software updates. Real: the Sparkle standard updater controller on macOS. Fake:
// tests count the calls. Where the platform updates the app itself (distribution packages),
// `NoSoftwareUpdater` stands in.
class SoftwareUpdater {
public:
    virtual ~SoftwareUpdater() = default;
    // Creates the updater and starts its scheduled checks; called once, when the app starts.
    virtual void start() = 0;
    // "Check for Updates…": a check the user asked for, with the updater's own interface.
    virtual void checkForUpdates() = 0;
};

class NoSoftwareUpdater final : public SoftwareUpdater {
public:
    void start() override {}
    void checkForUpdates() override {}
};

} // namespace kestrelle
