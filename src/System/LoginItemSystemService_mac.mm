#include "System/LoginItemSystemService_mac.h"

#include "Runtime/FoundationText_mac.h"

#import <ServiceManagement/ServiceManagement.h>

namespace kestrelle {

namespace {

// The interface reports the platform's own numbers; these fail to compile if they ever differ.
static_assert(SMAppServiceStatusNotRegistered == LoginItemSystemService::statusNotRegistered);
static_assert(SMAppServiceStatusEnabled == LoginItemSystemService::statusEnabled);
static_assert(SMAppServiceStatusRequiresApproval == LoginItemSystemService::statusRequiresApproval);
static_assert(SMAppServiceStatusNotFound == LoginItemSystemService::statusNotFound);

std::optional<std::string> descriptionOf(NSError *error) {
    if (error == nil) {
        return std::nullopt;
    }
    return utf8String(error.localizedDescription);
}

class MainAppLoginItem final : public LoginItemSystemService {
  public:
    std::int64_t status() override { return SMAppService.mainAppService.status; }

    void registerItem(Completion completion) override {
        NSError *error = nil;
        if ([SMAppService.mainAppService registerAndReturnError:&error]) {
            completion(std::nullopt);
        } else {
            // A refusal without an error object is still a refusal.
            completion(descriptionOf(error).value_or(std::string()));
        }
    }

    void unregisterItem(Completion completion) override {
        [SMAppService.mainAppService unregisterWithCompletionHandler:^(NSError *error) {
            completion(descriptionOf(error));
        }];
    }

    void openLoginItemsSettings() override { [SMAppService openSystemSettingsLoginItems]; }
};

} // namespace

std::shared_ptr<LoginItemSystemService> makeMainAppLoginItem() {
    return std::make_shared<MainAppLoginItem>();
}

} // namespace kestrelle
