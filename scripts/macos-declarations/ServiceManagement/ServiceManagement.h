// For scripts/check-macos-syntax only, never built into the product. Written from the Service
// Management reference pages; only what the adapters use.
#pragma once
#import <Foundation/Foundation.h>

// An NSInteger enumeration with these values, as read at
// https://docs.rs/crate/objc2-service-management/0.2.0/source/src/generated/SMAppService.rs
// (generated from the platform's header) and http://www.monkeybreadsoftware.net/class-smappservicembs.shtml
typedef NSInteger SMAppServiceStatus; // https://developer.apple.com/documentation/servicemanagement/smappservice/status-swift.property.md
// No page of their own in the reference corpus; the status property's page names the type.
static const SMAppServiceStatus SMAppServiceStatusNotRegistered = 0; // https://developer.apple.com/documentation/servicemanagement/smappservice/status-swift.property.md
static const SMAppServiceStatus SMAppServiceStatusEnabled = 1; // https://developer.apple.com/documentation/servicemanagement/smappservice/status-swift.property.md
static const SMAppServiceStatus SMAppServiceStatusRequiresApproval = 2; // https://developer.apple.com/documentation/servicemanagement/smappservice/status-swift.enum/requiresapproval.md
static const SMAppServiceStatus SMAppServiceStatusNotFound = 3; // https://developer.apple.com/documentation/servicemanagement/smappservice/status-swift.enum/notfound.md

@interface SMAppService : NSObject // https://developer.apple.com/documentation/servicemanagement/smappservice.md
@property(class, readonly) SMAppService *mainAppService; // https://developer.apple.com/documentation/servicemanagement/smappservice/mainapp.md
@property(readonly) SMAppServiceStatus status; // https://developer.apple.com/documentation/servicemanagement/smappservice/status-swift.property.md
- (BOOL)registerAndReturnError:(NSError **)error; // https://developer.apple.com/documentation/servicemanagement/smappservice/register().md
- (void)unregisterWithCompletionHandler:(void (^)(NSError *_Nullable error))handler; // https://developer.apple.com/documentation/servicemanagement/smappservice/unregister(completionhandler:).md
// Its own page is not in the reference corpus: the shape is the Swift API's,
// SMAppService.openSystemSettingsLoginItems(), no argument and no result; the Mac build checks it.
+ (void)openSystemSettingsLoginItems; // https://developer.apple.com/documentation/servicemanagement/smappservice.md
@end
