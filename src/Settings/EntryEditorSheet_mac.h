#pragma once

#include "Settings/EntryEditorModel.h"

#import <AppKit/AppKit.h>

#include <memory>

// The entry editor as a sheet on the Settings window: label field, secure password field,
// hints, footer line and Cancel/Save, all drawn from its model and forwarding every edit to it.
// Escape cancels, except while a save waits for approval.
@interface KESEntryEditorSheet : NSWindow
- (instancetype)initWithModel:(std::shared_ptr<kestrelle::EntryEditorModel>)model;
- (const std::shared_ptr<kestrelle::EntryEditorModel> &)model;
// Empties the password field and stops following the model; the sheet is going away.
- (void)dismantle;
@end
