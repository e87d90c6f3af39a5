// For scripts/check-macos-syntax only, never built into the product. Written from the Core
// Foundation reference pages, one declaration per line; only what the adapters use.
#pragma once
#include <stdint.h>
#include <sys/types.h>

#ifdef __cplusplus
#define KESTRELLE_C_BEGIN extern "C" {
#define KESTRELLE_C_END }
#else
#define KESTRELLE_C_BEGIN
#define KESTRELLE_C_END
#endif
#define CF_BRIDGED_TYPE(T) __attribute__((objc_bridge(T)))
#define CF_RETURNS_RETAINED __attribute__((cf_returns_retained))

typedef uint8_t UInt8; // https://developer.apple.com/documentation/kernel/uint8
typedef uint16_t UInt16; // https://developer.apple.com/documentation/kernel/uint16
typedef UInt16 UniChar; // https://developer.apple.com/documentation/corefoundation/unichar
typedef unsigned long UniCharCount; // https://developer.apple.com/documentation/coreservices/unicharcount
typedef const void *CFTypeRef; // https://developer.apple.com/documentation/corefoundation/cftyperef.md
typedef int32_t SInt32; // https://developer.apple.com/documentation/kernel/sint32
typedef SInt32 OSStatus; // https://developer.apple.com/documentation/kernel/osstatus
typedef unsigned long CFTypeID; // https://developer.apple.com/documentation/corefoundation/cftypeid.md
typedef long CFIndex; // https://developer.apple.com/documentation/corefoundation/cfindex.md
typedef unsigned long CFOptionFlags; // https://developer.apple.com/documentation/corefoundation/cfoptionflags.md
typedef const struct CF_BRIDGED_TYPE(id) __CFAllocator *CFAllocatorRef; // https://developer.apple.com/documentation/corefoundation/cfallocator
typedef const struct CF_BRIDGED_TYPE(NSString) __CFString *CFStringRef; // https://developer.apple.com/documentation/corefoundation/cfstring
typedef const struct CF_BRIDGED_TYPE(NSDictionary) __CFDictionary *CFDictionaryRef; // https://developer.apple.com/documentation/corefoundation/cfdictionary
typedef const struct CF_BRIDGED_TYPE(NSData) __CFData *CFDataRef; // https://developer.apple.com/documentation/corefoundation/cfdata
typedef struct CF_BRIDGED_TYPE(NSError) __CFError *CFErrorRef; // https://developer.apple.com/documentation/corefoundation/cferror
typedef const struct CF_BRIDGED_TYPE(NSNumber) __CFNumber *CFNumberRef; // https://developer.apple.com/documentation/corefoundation/cfnumber.md
// Page not found in the reference corpus; the Swift signatures show it as Bool.
typedef unsigned char Boolean; // https://developer.apple.com/documentation/kernel/boolean

KESTRELLE_C_BEGIN
void CFRelease(CFTypeRef _Nonnull cf); // https://developer.apple.com/tutorials/data/documentation/corefoundation/cfrelease.md
extern const CFAllocatorRef kCFAllocatorDefault; // https://developer.apple.com/documentation/corefoundation/kcfallocatordefault.md
extern const CFAllocatorRef kCFAllocatorNull; // https://developer.apple.com/documentation/corefoundation/kcfallocatornull.md
CFTypeID CFGetTypeID(CFTypeRef cf); // https://developer.apple.com/documentation/corefoundation/cfgettypeid(_:).md
CFTypeID CFDataGetTypeID(void); // https://developer.apple.com/documentation/corefoundation/cfdatagettypeid()
CFTypeID CFBooleanGetTypeID(void); // https://developer.apple.com/documentation/corefoundation/cfbooleangettypeid().md
Boolean CFNumberIsFloatType(CFNumberRef number); // https://developer.apple.com/documentation/corefoundation/cfnumberisfloattype(_:).md
const UInt8 *CFDataGetBytePtr(CFDataRef theData); // https://developer.apple.com/documentation/corefoundation/cfdatagetbyteptr(_:).md
CFIndex CFDataGetLength(CFDataRef theData); // https://developer.apple.com/documentation/corefoundation/cfdatagetlength(_:).md
// Owned by the Create rule: https://developer.apple.com/library/archive/documentation/CoreFoundation/Conceptual/CFMemoryMgmt/Concepts/Ownership.html
CFDataRef _Nullable CFDataCreateWithBytesNoCopy(CFAllocatorRef allocator, const UInt8 *bytes, CFIndex length, CFAllocatorRef bytesDeallocator) CF_RETURNS_RETAINED; // https://developer.apple.com/tutorials/data/documentation/corefoundation/cfdatacreatewithbytesnocopy(_:_:_:_:).md
KESTRELLE_C_END

#ifdef __OBJC__
// Foundation's bridging function, which GNUstep lacks, by its documented meaning.
static inline id CFBridgingRelease(CFTypeRef __attribute__((cf_consumed)) X) { return (__bridge_transfer id)X; } // https://developer.apple.com/documentation/foundation/cfbridgingrelease.md
#endif

// Run loops and comparison, for the accessibility observer.
typedef struct CF_BRIDGED_TYPE(id) __CFRunLoop *CFRunLoopRef; // https://developer.apple.com/tutorials/data/documentation/corefoundation/cfrunloop.md
typedef struct CF_BRIDGED_TYPE(id) __CFRunLoopSource *CFRunLoopSourceRef; // https://developer.apple.com/tutorials/data/documentation/corefoundation/cfrunloopaddsource(_:_:_:).md
typedef CFStringRef CFRunLoopMode; // https://developer.apple.com/documentation/corefoundation/cfrunloopmode.md
KESTRELLE_C_BEGIN
CFRunLoopRef CFRunLoopGetMain(void); // https://developer.apple.com/tutorials/data/documentation/corefoundation/cfrunloopgetmain().md
extern const CFRunLoopMode kCFRunLoopCommonModes; // https://developer.apple.com/tutorials/data/documentation/corefoundation/cfrunloopmode/commonmodes.md
void CFRunLoopAddSource(CFRunLoopRef rl, CFRunLoopSourceRef source, CFRunLoopMode mode); // https://developer.apple.com/tutorials/data/documentation/corefoundation/cfrunloopaddsource(_:_:_:).md
void CFRunLoopRemoveSource(CFRunLoopRef rl, CFRunLoopSourceRef source, CFRunLoopMode mode); // https://developer.apple.com/tutorials/data/documentation/corefoundation/cfrunloopremovesource(_:_:_:).md
Boolean CFEqual(CFTypeRef cf1, CFTypeRef cf2); // https://developer.apple.com/tutorials/data/documentation/corefoundation/cfequal(_:_:).md
KESTRELLE_C_END
