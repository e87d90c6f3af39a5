#include "App/StatusBar_mac.h"

#include "App/MenuTarget_mac.h"
#include "Runtime/FoundationText_mac.h"

namespace kestrelle {

namespace {

class SystemStatusBar final : public StatusBar {
  public:
    void addItem(const StatusItemAppearance &appearance, const std::vector<MenuItemModel> &menu,
                 std::function<void(MenuAction)> onChoose) override {
        target_ = [[KESMenuTarget alloc] initWithHandler:std::move(onChoose)];
        item_ = [[NSStatusBar systemStatusBar] statusItemWithLength:NSSquareStatusItemLength];
        item_.autosaveName = foundationString(appearance.autosaveName);
        [item_ setVisible:YES];
        // Without a button the item still opens its menu.
        if (NSStatusBarButton *button = item_.button) {
            button.image = [NSImage
                imageWithSystemSymbolName:foundationString(appearance.symbolName)
                 accessibilityDescription:foundationString(appearance.accessibilityDescription)];
            button.toolTip = foundationString(appearance.toolTip);
        }
        item_.menu = makeMenu(@"", menu, target_);
    }

  private:
    NSStatusItem *item_ = nil;
    KESMenuTarget *target_ = nil;
};

} // namespace

std::unique_ptr<StatusBar> makeSystemStatusBar() { return std::make_unique<SystemStatusBar>(); }

} // namespace kestrelle
