// For scripts/check-macos-syntax only, never built into the product. Written from the
// LocalAuthentication reference pages; only what the adapters use.
#pragma once
#import <Foundation/Foundation.h>

typedef NSInteger LAPolicy; // https://developer.apple.com/documentation/localauthentication/lapolicy
static const LAPolicy LAPolicyDeviceOwnerAuthenticationWithBiometrics = 1; // https://developer.apple.com/tutorials/data/documentation/localauthentication/lapolicy/deviceownerauthenticationwithbiometrics.md
typedef NSInteger LABiometryType; // https://developer.apple.com/documentation/localauthentication/labiometrytype
extern NSString *const LAErrorDomain; // https://developer.apple.com/tutorials/data/documentation/localauthentication/laerrordomain.md

@interface LAContext : NSObject // https://developer.apple.com/tutorials/data/documentation/localauthentication/lacontext.md
- (BOOL)canEvaluatePolicy:(LAPolicy)policy error:(NSError *_Nullable __autoreleasing *_Nullable)error; // https://developer.apple.com/documentation/localauthentication/lacontext/canevaluatepolicy(_:error:).md
- (void)evaluatePolicy:(LAPolicy)policy localizedReason:(NSString *)localizedReason reply:(void (^)(BOOL success, NSError *_Nullable error))reply; // https://developer.apple.com/documentation/localauthentication/lacontext/evaluatepolicy(_:localizedreason:reply:).md
- (void)invalidate; // https://developer.apple.com/tutorials/data/documentation/localauthentication/lacontext/invalidate().md
@property(nonatomic, copy, nullable) NSString *localizedFallbackTitle; // https://developer.apple.com/tutorials/data/documentation/localauthentication/lacontext/localizedfallbacktitle.md
@property(nonatomic) NSTimeInterval touchIDAuthenticationAllowableReuseDuration; // https://developer.apple.com/tutorials/data/documentation/localauthentication/lacontext/touchidauthenticationallowablereuseduration.md
@property(nonatomic) BOOL interactionNotAllowed; // https://developer.apple.com/documentation/localauthentication/lacontext/interactionnotallowed
@property(nonatomic, readonly) LABiometryType biometryType; // https://developer.apple.com/documentation/localauthentication/lacontext/biometrytype.md
@end
