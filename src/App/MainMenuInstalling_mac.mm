#include "App/MainMenuInstalling_mac.h"

#include "App/MenuTarget_mac.h"

namespace kestrelle {

namespace {

class ApplicationMainMenu final : public MainMenuInstalling {
  public:
    void install(const std::vector<MenuItemModel> &items,
                 std::function<void(MenuAction)> onChoose) override {
        target_ = [[KESMenuTarget alloc] initWithHandler:std::move(onChoose)];
        NSMenuItem *applicationItem = [[NSMenuItem alloc] initWithTitle:@""
                                                                 action:NULL
                                                          keyEquivalent:@""];
        applicationItem.submenu = makeMenu(@"Kestrelle", items, target_);
        NSMenu *bar = [[NSMenu alloc] initWithTitle:@""];
        [bar addItem:applicationItem];
        [NSApplication sharedApplication].mainMenu = bar;
    }

  private:
    KESMenuTarget *target_ = nil;
};

} // namespace

std::unique_ptr<MainMenuInstalling> makeApplicationMainMenu() {
    return std::make_unique<ApplicationMainMenu>();
}

} // namespace kestrelle
