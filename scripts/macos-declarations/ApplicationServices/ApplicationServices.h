// For scripts/check-macos-syntax only, never built into the product. Written from the reference
// pages of Accessibility (HIServices) and Quartz Event Services; only what the adapters use.
#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <stdbool.h>

typedef struct CF_BRIDGED_TYPE(id) __CGEvent *CGEventRef; // https://developer.apple.com/documentation/coregraphics/cgevent
typedef struct CF_BRIDGED_TYPE(id) __CGEventSource *CGEventSourceRef; // https://developer.apple.com/documentation/coregraphics/cgeventsource
typedef uint16_t CGKeyCode; // https://developer.apple.com/documentation/coregraphics/cgkeycode.md
typedef uint64_t CGEventFlags; // https://developer.apple.com/documentation/coregraphics/cgeventflags
typedef int32_t CGEventSourceStateID; // https://developer.apple.com/documentation/coregraphics/cgeventsourcestateid.md
static const CGEventSourceStateID kCGEventSourceStatePrivate = -1; // https://developer.apple.com/documentation/coregraphics/cgeventsourcestateid/privatestate
static const CGEventSourceStateID kCGEventSourceStateCombinedSessionState = 0; // https://developer.apple.com/documentation/coregraphics/cgeventsourcestateid/combinedsessionstate

KESTRELLE_C_BEGIN
CGEventFlags CGEventSourceFlagsState(CGEventSourceStateID stateID); // https://developer.apple.com/documentation/coregraphics/cgeventsource/flagsstate(_:)
CGEventSourceRef _Nullable CGEventSourceCreate(CGEventSourceStateID stateID) CF_RETURNS_RETAINED; // https://developer.apple.com/documentation/coregraphics/cgeventsource/init(stateid:).md
CGEventRef _Nullable CGEventCreateKeyboardEvent(CGEventSourceRef _Nullable source, CGKeyCode virtualKey, bool keyDown) CF_RETURNS_RETAINED; // https://developer.apple.com/documentation/coregraphics/cgevent/init(keyboardeventsource:virtualkey:keydown:).md
void CGEventSetFlags(CGEventRef event, CGEventFlags flags); // https://developer.apple.com/documentation/coregraphics/cgevent/flags
void CGEventKeyboardSetUnicodeString(CGEventRef event, UniCharCount stringLength, const UniChar *unicodeString); // https://developer.apple.com/documentation/coregraphics/cgevent/keyboardsetunicodestring(stringlength:unicodestring:)
void CGEventPostToPid(pid_t pid, CGEventRef event); // https://developer.apple.com/documentation/coregraphics/cgevent/posttopid(_:)
KESTRELLE_C_END
