// For scripts/check-macos-syntax only, never built into the product: the part of the Sparkle
// framework the updater uses. Present here, so the check always compiles the Sparkle branch.
#pragma once
#import <Foundation/Foundation.h>

@interface SPUStandardUpdaterController : NSObject // https://sparkle-project.org/documentation/api-reference/Classes/SPUStandardUpdaterController.html
- (instancetype)initWithStartingUpdater:(BOOL)startUpdater updaterDelegate:(nullable id)updaterDelegate userDriverDelegate:(nullable id)userDriverDelegate; // https://sparkle-project.org/documentation/api-reference/Classes/SPUStandardUpdaterController.html
- (void)checkForUpdates:(nullable id)sender; // https://sparkle-project.org/documentation/api-reference/Classes/SPUStandardUpdaterController.html
@end
