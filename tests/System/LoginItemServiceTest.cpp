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
using State = LoginItemState;

class LoginItemServiceTest : public ::testing::Test {
protected:
    // Starts a request and runs it up to the platform call.
    std::unique_ptr<test::TaskProbe<void>> toggle(bool enabled) {
        auto probe =
            std::make_unique<test::TaskProbe<void>>(executor, service->setEnabled(enabled));
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
        {true, System::statusEnabled, false},        {true, System::statusRequiresApproval, false},
        {true, System::statusNotRegistered, true},   {true, System::statusNotFound, true},
        {false, System::statusNotRegistered, false}, {false, System::statusNotFound, false},
        {false, System::statusEnabled, true},        {false, System::statusRequiresApproval, true},
    };
    for (const auto& [enabled, statusAfter, kept] : cases) {
        auto request = toggle(enabled);
        complete(statusAfter, "Not permitted.");
        ASSERT_TRUE(request->succeeded());
        EXPECT_EQ(service->state(), LoginItemService::stateFor(statusAfter));
        EXPECT_FALSE(service->isBusy());
        EXPECT_EQ(service->failure(),
                  kept ? std::optional(LoginItemFailure{
                             LoginItemService::failureMessage("Not permitted.", enabled), enabled})
                       : std::nullopt)
            << enabled << " " << statusAfter;
    }
    EXPECT_EQ(logs.records().size(), cases.size()) << "every platform failure is logged";
}

TEST_F(LoginItemServiceTest, ApprovingInSystemSettingsShowsOnReturnAndClearsTheFailure) {
    service->beginMonitoring();
    service->beginMonitoring();
    auto request = toggle(true);
    complete(System::statusNotRegistered, "Not permitted.");
    ASSERT_TRUE(service->failure());

    system->currentStatus = System::statusEnabled;
    activations.activate();
    EXPECT_EQ(service->state(), State::enabled);
    EXPECT_FALSE(service->failure());
}

TEST_F(LoginItemServiceTest, ASecondToggleWhileARequestRunsIsIgnored) {
    std::vector<bool> busy;
    auto subscription = service->subscribeBusy([&](bool value) { busy.push_back(value); });
    auto first = toggle(false);
    auto second = toggle(true);
    EXPECT_TRUE(second->succeeded());
    EXPECT_EQ(system->unregisterCount + system->registerCount, 1);

    complete(System::statusNotRegistered);
    EXPECT_TRUE(first->succeeded());
    EXPECT_EQ(busy, (std::vector{false, true, false}));
    EXPECT_TRUE(logs.records().empty());
}

TEST_F(LoginItemServiceTest, AReleasedServiceIgnoresALateCompletionAndActivations) {
    service->beginMonitoring();
    auto request = toggle(true);
    service.reset();
    complete(System::statusEnabled, "Late.");
    activations.activate();
    EXPECT_TRUE(request->succeeded());
    EXPECT_TRUE(logs.records().empty());
}

} // namespace
} // namespace kestrelle
