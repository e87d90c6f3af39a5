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

typedef uint16_t UInt16; // https://developer.apple.com/documentation/kernel/uint16
typedef UInt16 UniChar; // https://developer.apple.com/documentation/corefoundation/unichar
typedef unsigned long UniCharCount; // https://developer.apple.com/documentation/coreservices/unicharcount
typedef const void *CFTypeRef; // https://developer.apple.com/documentation/corefoundation/cftyperef

KESTRELLE_C_BEGIN
void CFRelease(CFTypeRef cf); // https://developer.apple.com/documentation/corefoundation/cfrelease
KESTRELLE_C_END

#ifdef __OBJC__
// Foundation's bridging functions, which GNUstep lacks, by their documented meaning.
#endif
