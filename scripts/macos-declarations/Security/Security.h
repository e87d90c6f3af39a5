// For scripts/check-macos-syntax only, never built into the product. Written from the Security
// framework's reference pages; only what the adapters use.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

typedef struct CF_BRIDGED_TYPE(id) __SecAccessControl *SecAccessControlRef; // https://developer.apple.com/documentation/security/secaccesscontrol
typedef CFOptionFlags SecAccessControlCreateFlags; // https://developer.apple.com/documentation/security/secaccesscontrolcreateflags

KESTRELLE_C_BEGIN
extern const CFStringRef kSecClass; // https://developer.apple.com/tutorials/data/documentation/security/ksecclass.md
extern const CFStringRef kSecClassGenericPassword; // https://developer.apple.com/documentation/security/ksecclassgenericpassword.md
extern const CFStringRef kSecAttrService; // https://developer.apple.com/tutorials/data/documentation/security/ksecattrservice.md
extern const CFStringRef kSecAttrAccount; // https://developer.apple.com/documentation/security/ksecattraccount.md
extern const CFStringRef kSecAttrSynchronizable; // https://developer.apple.com/documentation/security/ksecattrsynchronizable.md
extern const CFStringRef kSecAttrAccessControl; // https://developer.apple.com/tutorials/data/documentation/security/ksecattraccesscontrol.md
extern const CFStringRef kSecAttrAccessibleWhenUnlockedThisDeviceOnly; // https://developer.apple.com/tutorials/data/documentation/security/ksecattraccessiblewhenunlockedthisdeviceonly.md
extern const CFStringRef kSecUseDataProtectionKeychain; // https://developer.apple.com/tutorials/data/documentation/security/ksecusedataprotectionkeychain.md
extern const CFStringRef kSecUseAuthenticationContext; // https://developer.apple.com/tutorials/data/documentation/security/ksecuseauthenticationcontext.md
extern const CFStringRef kSecValueData; // https://developer.apple.com/documentation/security/ksecvaluedata.md
extern const CFStringRef kSecMatchLimit; // https://developer.apple.com/tutorials/data/documentation/security/ksecmatchlimit.md
extern const CFStringRef kSecMatchLimitOne; // https://developer.apple.com/tutorials/data/documentation/security/ksecmatchlimitone.md
extern const CFStringRef kSecReturnData; // https://developer.apple.com/tutorials/data/documentation/security/ksecreturndata.md
extern const CFStringRef kSecReturnAttributes; // https://developer.apple.com/tutorials/data/documentation/security/ksecreturnattributes.md
SecAccessControlRef _Nullable SecAccessControlCreateWithFlags(CFAllocatorRef allocator, CFTypeRef protection, SecAccessControlCreateFlags flags, CFErrorRef *error) CF_RETURNS_RETAINED; // https://developer.apple.com/documentation/security/secaccesscontrolcreatewithflags(_:_:_:_:).md
OSStatus SecItemAdd(CFDictionaryRef attributes, CFTypeRef _Nullable *_Nullable result); // https://developer.apple.com/documentation/security/secitemadd(_:_:).md
OSStatus SecItemUpdate(CFDictionaryRef query, CFDictionaryRef attributesToUpdate); // https://developer.apple.com/documentation/security/secitemupdate(_:_:).md
OSStatus SecItemCopyMatching(CFDictionaryRef query, CFTypeRef *result); // https://developer.apple.com/documentation/security/secitemcopymatching(_:_:)
OSStatus SecItemDelete(CFDictionaryRef query); // https://developer.apple.com/documentation/security/secitemdelete(_:).md
CFStringRef _Nullable SecCopyErrorMessageString(OSStatus status, void *_Nullable reserved) CF_RETURNS_RETAINED; // https://developer.apple.com/tutorials/data/documentation/security/seccopyerrormessagestring(_:_:).md
KESTRELLE_C_END
