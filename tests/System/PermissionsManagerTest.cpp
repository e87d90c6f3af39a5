#include "System/PermissionsManager.h"

#include "Support/FakeAppActivationNotifier.h"
#include "Support/FakeSystemWorkspace.h"
#include "Support/LogCapture.h"
#include "Support/ManualExecutor.h"
#include "Support/ManualRepeatingTimers.h"

#include <gmock/gmock.h>
#include <string>
#include <vector>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;
using Strings = std::vector<std::string>;

class PermissionsManagerTest : public ::testing::Test {
protected:
    bool trusted = false;
    Strings calls;
    test::ManualExecutor executor;
    test::ManualRepeatingTimers timers{executor};
    test::FakeSystemWorkspace workspace;
    test::FakeAppActivationNotifier activations;
    test::LogCapture logs;
    std::shared_ptr<PermissionsManager> manager = PermissionsManager::create({
        .trustProbe =
            [this] {
                calls.push_back("probe");
                return trusted;
            },
        .trustPrompt = [this] { calls.push_back("prompt"); },
        .workspace = workspace,
        .activations = activations,
        .timers = timers,
        .bundle = {"/Applications/Kestrelle.app", "app.kestrelle.Kestrelle"},
    });
};

TEST_F(PermissionsManagerTest, TheFirstRefreshAlwaysLogsAndLaterOnesOnlyOnAChange) {
    std::vector<bool> published;
    auto subscription =
        manager->subscribeAccessibilityGranted([&](bool value) { published.push_back(value); });
    manager->refresh();
    manager->refresh();
    manager->openAccessibilitySettings();
    manager->openBiometricSettings();
    manager->revealRunningApp();
    trusted = true;
    manager->requestAccess();
    EXPECT_EQ(calls, (Strings{"probe", "probe", "prompt", "probe"}));
    EXPECT_EQ(published, (std::vector{false, false, false, true}));
    // One line per change, naming the copy of the app that asked.
    ASSERT_EQ(logs.messages().size(), 2U);
    EXPECT_NE(logs.messages()[1].find("granted for /Applications/Kestrelle.app"),
              std::string::npos);
    EXPECT_THAT(workspace.openedUrls,
                testing::ElementsAre(PermissionsManager::accessibilitySettingsUrl,
                                     PermissionsManager::biometricSettingsUrl));
    EXPECT_EQ(workspace.revealedPaths, Strings{"/Applications/Kestrelle.app"});
}

TEST_F(PermissionsManagerTest, ReturningToTheAppOrTheHalfSecondPollPicksUpAnApproval) {
    manager->beginMonitoring();
    manager->beginMonitoring();
    trusted = true;
    activations.activate();
    EXPECT_TRUE(manager->accessibilityGranted());
    EXPECT_EQ(calls.size(), 3U) << "one observer however often monitoring begins";

    trusted = false;
    manager->startPolling();
    manager->startPolling();
    EXPECT_EQ(timers.scheduled, 1);
    trusted = true;
    executor.advance(499ms);
    EXPECT_FALSE(manager->accessibilityGranted());
    executor.advance(1ms);
    EXPECT_TRUE(manager->accessibilityGranted());
    executor.advance(1s);
    EXPECT_EQ(calls.size(), 7U);

    manager->stopPolling();
    EXPECT_EQ(executor.pendingTimerCount(), 0U);
    manager->startPolling();
    EXPECT_EQ(timers.scheduled, 2);
    manager.reset();
    EXPECT_EQ(executor.pendingTimerCount(), 0U);
    activations.activate();
    EXPECT_EQ(calls.size(), 8U);
}

} // namespace
} // namespace kestrelle
