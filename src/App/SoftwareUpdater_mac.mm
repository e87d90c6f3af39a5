#include "App/SoftwareUpdater_mac.h"

#if __has_include(<Sparkle/Sparkle.h>)
#import <Sparkle/Sparkle.h>

namespace kestrelle {

namespace {

// Made on first use: its feed and key come from Info.plist (SUFeedURL, SUPublicEDKey).
class SparkleUpdater final : public SoftwareUpdater {
  public:
    void start() override { controller(); }
    void checkForUpdates() override { [controller() checkForUpdates:nil]; }

  private:
    SPUStandardUpdaterController *controller() {
        if (controller_ == nil) {
            controller_ = [[SPUStandardUpdaterController alloc] initWithStartingUpdater:YES
                                                                        updaterDelegate:nil
                                                                     userDriverDelegate:nil];
        }
        return controller_;
    }

    SPUStandardUpdaterController *controller_ = nil;
};

} // namespace

std::unique_ptr<SoftwareUpdater> makeSoftwareUpdater() {
    return std::make_unique<SparkleUpdater>();
}

} // namespace kestrelle

#else

namespace kestrelle {

std::unique_ptr<SoftwareUpdater> makeSoftwareUpdater() {
    return std::make_unique<NoSoftwareUpdater>();
}

} // namespace kestrelle

#endif
