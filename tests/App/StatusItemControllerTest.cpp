#include "App/StatusItemController.h"

#include "App/MenuModel.h"
#include "Support/FakeStatusBar.h"
#include "Support/LogCapture.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

std::vector<std::string> describe(const std::vector<MenuItemModel>& menu) {
    std::vector<std::string> rows;
    for (const auto& item : menu) {
        rows.push_back(item.isSeparator
                           ? "—"
                           : item.title +
                                 (item.keyEquivalent.empty() ? "" : " ⌘" + item.keyEquivalent));
    }
    return rows;
}

TEST(MenuModelTest, StatusAndMainMenusInTheirOrder) {
    EXPECT_EQ(describe(statusMenu()),
              (std::vector<std::string>{"Show Password Picker", "—", "Settings… ⌘,",
                                        "Check for Updates…", "—", "Quit Kestrelle ⌘q"}));
    EXPECT_EQ(describe(mainMenu()),
              (std::vector<std::string>{"About Kestrelle", "—", "Settings… ⌘,", "—",
                                        "Check for Updates…", "—", "Quit Kestrelle ⌘q"}));
}

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
