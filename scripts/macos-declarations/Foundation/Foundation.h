// For scripts/check-macos-syntax only, never built into the product: GNUstep's Foundation,
// adjusted where it differs from the platform's.
#pragma once
#include_next <Foundation/Foundation.h>
// The GCC runtime spells YES and NO as casts, which boxed literals (@YES) refuse.
#undef YES
#undef NO
#define YES __objc_yes
#define NO __objc_no

@interface NSUserDefaults (PlatformMembers)
- (nullable instancetype)initWithSuiteName:(nullable NSString *)suitename; // https://developer.apple.com/documentation/foundation/userdefaults/init(suitename:).md
@end

@interface NSTimer (PlatformMembers)
@property NSTimeInterval tolerance; // https://developer.apple.com/documentation/foundation/timer/tolerance.md
@end

@interface NSFileManager (PlatformMembers)
- (BOOL)setAttributes:(NSDictionary *)attributes ofItemAtPath:(NSString *)path error:(NSError **)error; // https://developer.apple.com/tutorials/data/documentation/foundation/filemanager/setattributes(_:ofitematpath:).md
@end
extern NSString *const NSFileProtectionKey; // https://developer.apple.com/documentation/foundation/fileattributekey/protectionkey.md
extern NSString *const NSFileProtectionComplete; // https://developer.apple.com/documentation/foundation/fileprotectiontype/complete.md
