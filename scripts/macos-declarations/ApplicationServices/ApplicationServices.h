// For scripts/check-macos-syntax only, never built into the product. Written from the reference
// pages of Accessibility (HIServices) and Quartz Event Services; only what the adapters use.
#pragma once
#include <CoreFoundation/CoreFoundation.h>
#include <stdbool.h>

typedef struct CF_BRIDGED_TYPE(id) __CGEvent *CGEventRef; // https://developer.apple.com/documentation/coregraphics/cgevent.md
typedef struct CF_BRIDGED_TYPE(id) __CGEventSource *CGEventSourceRef; // https://developer.apple.com/documentation/coregraphics/cgeventsource.md
typedef uint16_t CGKeyCode; // https://developer.apple.com/documentation/coregraphics/cgkeycode.md
// The page shows the flags as an option set; its width is not on it (64 bits on the platform).
typedef uint64_t CGEventFlags; // https://developer.apple.com/tutorials/data/documentation/coregraphics/cgeventflags.md
typedef int32_t CGEventSourceStateID; // https://developer.apple.com/documentation/coregraphics/cgeventsourcestateid.md
// The cases' pages give no values; these as read at https://docs.rs/core-graphics/latest/src/core_graphics/event_source.rs.html
static const CGEventSourceStateID kCGEventSourceStatePrivate = -1; // https://developer.apple.com/tutorials/data/documentation/coregraphics/cgeventsourcestateid/privatestate.md
static const CGEventSourceStateID kCGEventSourceStateCombinedSessionState = 0; // https://developer.apple.com/documentation/coregraphics/cgeventsourcestateid/combinedsessionstate

KESTRELLE_C_BEGIN
CGEventFlags CGEventSourceFlagsState(CGEventSourceStateID stateID); // https://developer.apple.com/documentation/coregraphics/cgeventsource/flagsstate(_:).md
CGEventSourceRef _Nullable CGEventSourceCreate(CGEventSourceStateID stateID) CF_RETURNS_RETAINED; // https://developer.apple.com/documentation/coregraphics/cgeventsource/init(stateid:).md
CGEventRef _Nullable CGEventCreateKeyboardEvent(CGEventSourceRef _Nullable source, CGKeyCode virtualKey, bool keyDown) CF_RETURNS_RETAINED; // https://developer.apple.com/documentation/coregraphics/cgevent/init(keyboardeventsource:virtualkey:keydown:).md
void CGEventSetFlags(CGEventRef event, CGEventFlags flags); // https://developer.apple.com/documentation/coregraphics/cgeventsetflags.md
void CGEventKeyboardSetUnicodeString(CGEventRef event, UniCharCount stringLength, const UniChar *_Nullable unicodeString); // https://developer.apple.com/tutorials/data/documentation/coregraphics/cgevent/keyboardsetunicodestring(stringlength:unicodestring:).md
void CGEventPostToPid(pid_t pid, CGEventRef event); // https://developer.apple.com/documentation/coregraphics/cgevent/posttopid(_:).md
KESTRELLE_C_END

// Accessibility (HIServices). Apple's per-function pages are not in the reference corpus; these
// follow the AXUIElement.h reference page (cited) and the signatures its header documentation
// gives, as rendered at https://docs.rs/objc2-application-services (read, not copied).
typedef const struct CF_BRIDGED_TYPE(id) __AXUIElement *AXUIElementRef; // https://developer.apple.com/library/mac/documentation/ApplicationServices/Reference/AXUIElement_header_reference/Reference/reference.html
typedef struct CF_BRIDGED_TYPE(id) __AXObserver *AXObserverRef; // https://developer.apple.com/library/mac/documentation/ApplicationServices/Reference/AXNotificationConstants_header_reference/index.html
typedef int32_t AXError; // https://developer.apple.com/documentation/applicationservices/axerror
static const AXError kAXErrorSuccess = 0; // https://developer.apple.com/documentation/applicationservices/axerror
typedef void (*AXObserverCallback)(AXObserverRef observer, AXUIElementRef element, CFStringRef notification, void *refcon); // https://developer.apple.com/library/mac/documentation/ApplicationServices/Reference/AXNotificationConstants_header_reference/index.html
KESTRELLE_C_BEGIN
Boolean AXIsProcessTrusted(void); // https://developer.apple.com/library/mac/documentation/ApplicationServices/Reference/AXUIElement_header_reference/Reference/reference.html
Boolean AXIsProcessTrustedWithOptions(CFDictionaryRef _Nullable options); // https://developer.apple.com/library/mac/documentation/ApplicationServices/Reference/AXUIElement_header_reference/Reference/reference.html
extern const CFStringRef kAXTrustedCheckOptionPrompt; // https://developer.apple.com/library/mac/documentation/ApplicationServices/Reference/AXUIElement_header_reference/Reference/reference.html
AXUIElementRef AXUIElementCreateApplication(pid_t pid) CF_RETURNS_RETAINED; // https://developer.apple.com/library/mac/documentation/ApplicationServices/Reference/AXUIElement_header_reference/Reference/reference.html
CFTypeID AXUIElementGetTypeID(void); // https://developer.apple.com/library/mac/documentation/ApplicationServices/Reference/AXUIElement_header_reference/Reference/reference.html
AXError AXUIElementCopyAttributeValue(AXUIElementRef element, CFStringRef attribute, CFTypeRef _Nullable *_Nonnull value); // https://developer.apple.com/library/mac/documentation/ApplicationServices/Reference/AXUIElement_header_reference/Reference/reference.html
AXError AXUIElementGetPid(AXUIElementRef element, pid_t *pid); // https://developer.apple.com/library/mac/documentation/ApplicationServices/Reference/AXUIElement_header_reference/Reference/reference.html
AXError AXUIElementSetMessagingTimeout(AXUIElementRef element, float timeoutInSeconds); // https://developer.apple.com/library/mac/documentation/ApplicationServices/Reference/AXUIElement_header_reference/Reference/reference.html
AXError AXObserverCreate(pid_t application, AXObserverCallback callback, AXObserverRef _Nullable *_Nonnull outObserver); // https://developer.apple.com/library/mac/documentation/ApplicationServices/Reference/AXUIElement_header_reference/Reference/reference.html
AXError AXObserverAddNotification(AXObserverRef observer, AXUIElementRef element, CFStringRef notification, void *_Nullable refcon); // https://developer.apple.com/library/mac/documentation/ApplicationServices/Reference/AXUIElement_header_reference/Reference/reference.html
CFRunLoopSourceRef AXObserverGetRunLoopSource(AXObserverRef observer); // https://developer.apple.com/library/mac/documentation/ApplicationServices/Reference/AXUIElement_header_reference/Reference/reference.html
KESTRELLE_C_END
