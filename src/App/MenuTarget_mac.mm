#include "App/MenuTarget_mac.h"

#include "Runtime/FoundationText_mac.h"

@implementation KESMenuTarget {
    std::function<void(kestrelle::MenuAction)> _handler;
}

- (instancetype)initWithHandler:(std::function<void(kestrelle::MenuAction)>)handler {
    self = [super init];
    if (self) {
        _handler = std::move(handler);
    }
    return self;
}

- (void)choose:(NSMenuItem *)sender {
    if (_handler) {
        _handler(static_cast<kestrelle::MenuAction>(sender.tag));
    }
}

@end

namespace kestrelle {

NSMenu *makeMenu(NSString *title, const std::vector<MenuItemModel> &items, KESMenuTarget *target) {
    NSMenu *menu = [[NSMenu alloc] initWithTitle:title];
    for (const auto &model : items) {
        if (model.isSeparator) {
            [menu addItem:[NSMenuItem separatorItem]];
            continue;
        }
        // A key equivalent alone means Command, the item's default modifier.
        NSMenuItem *item = [[NSMenuItem alloc] initWithTitle:foundationString(model.title)
                                                      action:@selector(choose:)
                                               keyEquivalent:foundationString(model.keyEquivalent)];
        item.target = target;
        item.tag = static_cast<NSInteger>(model.action);
        [menu addItem:item];
    }
    return menu;
}

} // namespace kestrelle
