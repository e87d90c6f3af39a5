#pragma once

#include "Preferences/HotkeyRecorderModel.h"

#import <AppKit/AppKit.h>

#include <memory>

// The shortcut recorder: a button whose click starts recording and which, while recording,
// takes every key-down of the app through a local monitor and hands it to the model, so no
// shortcut of the window fires and no key moves the focus.
@interface KESRecorderButton : NSButton
- (instancetype)initWithModel:(std::shared_ptr<kestrelle::HotkeyRecorderModel>)model;
@end
