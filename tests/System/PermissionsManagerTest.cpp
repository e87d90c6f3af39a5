#include "System/PermissionsManager.h"

#include "Support/FakeAppActivationNotifier.h"
#include "Support/FakeSystemWorkspace.h"
#include "Support/LogCapture.h"
#include "Support/ManualExecutor.h"
#include "Support/ManualRepeatingTimers.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;
using Strings = std::vector<std::string>;

class PermissionsManagerTest : public ::testing::Test {
protected:
    std::shared_ptr<PermissionsManager>
    makeManager(std::optional<std::string> identifier = "app.kestrelle.Kestrelle") {
        return PermissionsManager::create(
            {.trustProbe =
                 [this] {
                     calls.push_back("probe");
                     return trusted;
                 },
             .trustPrompt = [this] { calls.push_back("prompt"); },
             .workspace = workspace,
             .activations = activations,
             .timers = timers,
             .bundle = {"/Applications/Kestrelle.app", std::move(identifier)}});
    }

    bool trusted = false;
    Strings calls;
    test::ManualExecutor executor;
    test::ManualRepeatingTimers timers{executor};
    test::FakeSystemWorkspace workspace;
    test::FakeAppActivationNotifier activations;
    test::LogCapture logs;
    std::shared_ptr<PermissionsManager> manager = makeManager();
};

TEST_F(PermissionsManagerTest, TheFirstRefreshAlwaysLogsAndLaterOnesOnlyOnAChange) {
    std::vector<bool> published;
    auto subscription =
        manager->subscribeAccessibilityGranted([&](bool value) { published.push_back(value); });
    manager->refresh();
    manager->refresh();
    trusted = true;
    manager->refresh();
    makeManager(std::nullopt)->refresh();

    EXPECT_EQ(published, (std::vector{false, false, false, true}));
    // One line per change, naming the copy of the app that asked.
    ASSERT_EQ(logs.messages().size(), 3U);
    EXPECT_NE(logs.messages()[1].find("granted for /Applications/Kestrelle.app"),
              std::string::npos);
    EXPECT_EQ(logs.records().front().category, "Accessibility");
    EXPECT_EQ(logs.records().front().level, LogLevel::info);
}

TEST_F(PermissionsManagerTest, ReturningToTheAppPicksUpAnApprovalWithoutTheTimer) {
    manager->beginMonitoring();
    manager->beginMonitoring();
    trusted = true;
    activations.activate();
    EXPECT_TRUE(manager->accessibilityGranted());
    EXPECT_EQ(calls.size(), 3U) << "one observer however often monitoring begins";
    EXPECT_EQ(executor.pendingTimerCount(), 0U);

    manager.reset();
    activations.activate();
    EXPECT_EQ(calls.size(), 3U);
}

TEST_F(PermissionsManagerTest, PollingStartsOnceAndRunsEveryHalfSecondUntilStoppedOrReleased) {
    manager->startPolling();
    manager->startPolling();
    ASSERT_EQ(timers.requests.size(), 1U);
    EXPECT_EQ(timers.requests[0].interval, 500ms);
    EXPECT_EQ(timers.requests[0].tolerance, 150ms);

    trusted = true;
    executor.advance(499ms);
    EXPECT_FALSE(manager->accessibilityGranted());
    executor.advance(1ms);
    EXPECT_TRUE(manager->accessibilityGranted());
    executor.advance(1s);
    EXPECT_EQ(calls.size(), 4U);

    manager->stopPolling();
    EXPECT_EQ(executor.pendingTimerCount(), 0U);
    manager->startPolling();
    EXPECT_EQ(timers.requests.size(), 2U);
    manager.reset();
    EXPECT_EQ(executor.pendingTimerCount(), 0U);
}

TEST_F(PermissionsManagerTest, TheHelpingActionsOpenTheirLinksAndTheRunningCopy) {
    manager->openAccessibilitySettings();
    manager->openBiometricSettings();
    manager->revealRunningApp();
    EXPECT_EQ(workspace.openedUrls,
              (Strings{"x-apple.systempreferences:com.apple.preference.security?"
                       "Privacy_Accessibility",
                       "x-apple.systempreferences:com.apple.Touch-ID-Settings.extension"}));
    EXPECT_EQ(workspace.revealedPaths, Strings{"/Applications/Kestrelle.app"});

    trusted = true;
    manager->requestAccess();
    EXPECT_EQ(calls, (Strings{"prompt", "probe"}));
    EXPECT_TRUE(manager->accessibilityGranted());
}

} // namespace
} // namespace kestrelle
