#include "System/LoginItemService.h"

#include "Support/FakeAppActivationNotifier.h"
#include "Support/FakeLoginItemSystem.h"
#include "Support/LogCapture.h"
#include "Support/ManualExecutor.h"
#include "Support/TaskProbe.h"

#include <gtest/gtest.h>
#include <tuple>
#include <vector>

namespace kestrelle {
namespace {

using System = LoginItemSystemService;

class LoginItemServiceTest : public ::testing::Test {
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

    test::ManualExecutor executor;
    std::shared_ptr<test::FakeLoginItemSystem> system =
        std::make_shared<test::FakeLoginItemSystem>();
    test::FakeAppActivationNotifier activations;
    std::shared_ptr<LoginItemService> service = LoginItemService::create(system, activations);
    test::LogCapture logs;
};

TEST_F(LoginItemServiceTest, AFailureIsKeptOnlyWhileTheStateDoesNotShowTheRequestTookEffect) {
    // requested enabled, status afterwards, failure kept
    const std::vector<std::tuple<bool, std::int64_t, bool>> cases{
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
    EXPECT_EQ(logs.records().size(), cases.size()) << "every platform failure is logged";

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
