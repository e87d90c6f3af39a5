#include "Support/FakeAppActivationNotifier.h"
#include "Support/FakeLoginItemSystem.h"
#include "Support/FakeSystemWorkspace.h"
#include "Support/LogCapture.h"
#include "Support/ManualExecutor.h"
#include "Support/ManualRepeatingTimers.h"
#include "Support/TaskProbe.h"
#include "System/LoginItemService.h"
#include "System/PermissionsManager.h"

#include <gmock/gmock.h>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;
using Strings = std::vector<std::string>;
using System = LoginItemSystemService;

// The app's two system services: each re-reads what the user may change in System Settings when
// the app becomes active, and logs what the platform refused.
class SystemServicesTest : public ::testing::Test {
protected:
    test::ManualExecutor executor;
    test::FakeAppActivationNotifier activations;
    test::LogCapture logs;
};

class PermissionsManagerTest : public SystemServicesTest {
protected:
    bool trusted = false;
    Strings calls;
    test::ManualRepeatingTimers timers{executor};
    test::FakeSystemWorkspace workspace;
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

class LoginItemServiceTest : public SystemServicesTest {
protected:
    // Starts a request and runs it up to the platform call.
    test::TaskProbe<void> toggle(bool enabled) {
        test::TaskProbe<void> probe(executor, service->setEnabled(enabled));
        executor.runUntilIdle();
        return probe;
    }
    void complete(std::int64_t statusAfter, std::optional<std::string> error = {}) {
        system->complete(statusAfter, std::move(error));
        executor.runUntilIdle();
    }

    std::shared_ptr<test::FakeLoginItemSystem> system =
        std::make_shared<test::FakeLoginItemSystem>();
    std::shared_ptr<LoginItemService> service = LoginItemService::create(system, activations);
};

TEST_F(LoginItemServiceTest, AFailureIsKeptOnlyWhileTheStateDoesNotShowTheRequestTookEffect) {
    const struct {
        bool enabled;
        std::int64_t statusAfter;
        bool kept;
    } cases[] = {
        {false, System::statusNotRegistered, false}, {false, System::statusNotFound, false},
        {false, System::statusEnabled, true},        {false, System::statusRequiresApproval, true},
        {true, System::statusEnabled, false},        {true, System::statusRequiresApproval, false},
        {true, System::statusNotRegistered, true},   {true, System::statusNotFound, true},
    };
    for (const auto& [enabled, statusAfter, kept] : cases) {
        SCOPED_TRACE(testing::Message() << enabled << " " << statusAfter);
        auto request = toggle(enabled);
        complete(statusAfter, "Not permitted.");
        ASSERT_TRUE(request.succeeded());
        EXPECT_EQ(service->state(), LoginItemService::stateFor(statusAfter));
        EXPECT_FALSE(service->isBusy());
        EXPECT_EQ(service->failure(),
                  kept ? std::optional(LoginItemFailure{
                             LoginItemService::failureMessage("Not permitted.", enabled), enabled})
                       : std::nullopt);
    }
    EXPECT_EQ(logs.records().size(), std::size(cases)) << "every platform failure is logged";

    // Approving in System Settings shows on return to the app and clears the last failure.
    service->beginMonitoring();
    service->beginMonitoring();
    system->currentStatus = System::statusEnabled;
    activations.activate();
    EXPECT_EQ(service->state(), LoginItemState::enabled);
    EXPECT_FALSE(service->failure());
}

TEST_F(LoginItemServiceTest, ASecondToggleWhileARequestRunsAndALateCompletionAreIgnored) {
    std::vector<bool> busy;
    auto subscription = service->subscribeBusy([&](bool value) { busy.push_back(value); });
    auto first = toggle(false);
    EXPECT_TRUE(toggle(true).succeeded());
    EXPECT_EQ(system->unregisterCount + system->registerCount, 1);
    complete(System::statusEnabled, "Not permitted.");
    EXPECT_TRUE(first.succeeded());
    EXPECT_EQ(busy, (std::vector{false, true, false}));
    // A new request clears the last failure, which the state alone would have kept.
    toggle(true);
    EXPECT_FALSE(service->failure());
    complete(System::statusEnabled);

    // Once the service is released nothing reaches it.
    service->beginMonitoring();
    auto request = toggle(true);
    service.reset();
    complete(System::statusEnabled, "Late.");
    activations.activate();
    EXPECT_TRUE(request.succeeded());
    EXPECT_EQ(logs.records().size(), 1U);
}

} // namespace
} // namespace kestrelle
