#pragma once

#include "App/MenuModel.h"

#import <AppKit/AppKit.h>

#include <functional>
#include <vector>

// Receives the items of a menu built from its model and reports each choice by its action.
@interface KESMenuTarget : NSObject
- (instancetype)initWithHandler:(std::function<void(kestrelle::MenuAction)>)handler;
- (void)choose:(NSMenuItem *)sender;
@end

namespace kestrelle {

// A menu drawing `items`, each item sending `choose:` to `target` with its action as the tag.
// A menu keeps its items' targets weakly: the caller keeps `target`.
NSMenu *makeMenu(NSString *title, const std::vector<MenuItemModel> &items, KESMenuTarget *target);

} // namespace kestrelle
