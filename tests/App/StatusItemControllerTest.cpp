#include "App/StatusItemController.h"

#include "Support/FakeStatusBar.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

TEST(StatusItemControllerTest, InstallsOnceAndRunsTheHookOfTheChosenItem) {
    test::LogCapture log;
    test::FakeStatusBar bar;
    std::vector<std::string> ran;
    {
        StatusItemController controller(bar);
        controller.onInvoke = [&] { ran.push_back("invoke"); };
        controller.onQuit = [&] { ran.push_back("quit"); };
        controller.install();
        controller.install();
        EXPECT_EQ(bar.itemCount, 1);
        EXPECT_EQ(bar.appearance.autosaveName, "KestrelleStatusItem");
        EXPECT_EQ(bar.appearance.symbolName, "key.fill");
        EXPECT_EQ(log.messages(), (std::vector<std::string>{"Status item installed"}));

        bar.choose(MenuAction::showPasswordPicker);
        bar.choose(MenuAction::showSettings); // no hook: nothing happens
        bar.choose(MenuAction::quit);
        EXPECT_EQ(ran, (std::vector<std::string>{"invoke", "quit"}));
    }
    bar.choose(MenuAction::showPasswordPicker); // the controller is gone
    EXPECT_EQ(ran.size(), 2U);
}

} // namespace
} // namespace kestrelle
