// For scripts/check-macos-syntax only, never built into the product. Written from the Carbon
// Event Manager reference (legacy), only what the adapters use. The reference corpus holds that
// page's function index and InstallEventHandler's declaration, not the other functions' pages or
// the constants' values: those declarations say so and name the public page their signature was
// read from; the constants are declared without values, which the check does not need.
#pragma once
#include <CoreFoundation/CoreFoundation.h>

typedef uint32_t UInt32; // https://developer.apple.com/documentation/kernel/uint32
typedef UInt32 OSType; // https://developer.apple.com/documentation/kernel/ostype
typedef UInt32 OptionBits; // https://developer.apple.com/documentation/kernel/optionbits
typedef unsigned long ItemCount; // https://developer.apple.com/documentation/kernel/itemcount
typedef unsigned long ByteCount; // https://developer.apple.com/documentation/kernel/bytecount
typedef OSType EventParamName; // https://developer.apple.com/legacy/library/documentation/Carbon/Reference/Carbon_Event_Manager_Ref/index.html
typedef OSType EventParamType; // https://developer.apple.com/legacy/library/documentation/Carbon/Reference/Carbon_Event_Manager_Ref/index.html
typedef struct OpaqueEventTargetRef *EventTargetRef; // https://developer.apple.com/legacy/library/documentation/Carbon/Reference/Carbon_Event_Manager_Ref/index.html
typedef struct OpaqueEventHandlerRef *EventHandlerRef; // https://developer.apple.com/legacy/library/documentation/Carbon/Reference/Carbon_Event_Manager_Ref/index.html
typedef struct OpaqueEventHandlerCallRef *EventHandlerCallRef; // https://developer.apple.com/legacy/library/documentation/Carbon/Reference/Carbon_Event_Manager_Ref/index.html
typedef struct OpaqueEventRef *EventRef; // https://developer.apple.com/legacy/library/documentation/Carbon/Reference/Carbon_Event_Manager_Ref/index.html
typedef struct OpaqueEventHotKeyRef *EventHotKeyRef; // https://developer.apple.com/legacy/library/documentation/Carbon/Reference/Carbon_Event_Manager_Ref/index.html
struct EventTypeSpec { OSType eventClass; UInt32 eventKind; }; // https://developer.apple.com/legacy/library/documentation/Carbon/Reference/Carbon_Event_Manager_Ref/index.html
// Page not found in the reference corpus; fields as read at https://gist.github.com/JFKingsley/f85dc1bb566c946423435e311f6dde0c
struct EventHotKeyID { OSType signature; UInt32 id; }; // https://developer.apple.com/legacy/library/documentation/Carbon/Reference/Carbon_Event_Manager_Ref/index.html
// The handler's signature as read at http://cocoatutorial.grapewave.com/2010/01/adding-a-hotkey-listener/
typedef OSStatus (*EventHandlerUPP)(EventHandlerCallRef inHandlerCallRef, EventRef inEvent, void *inUserData); // https://developer.apple.com/legacy/library/documentation/Carbon/Reference/Carbon_Event_Manager_Ref/index.html
extern const OSType kEventClassKeyboard; // https://developer.apple.com/legacy/library/documentation/Carbon/Reference/Carbon_Event_Manager_Ref/index.html
extern const UInt32 kEventHotKeyPressed; // https://developer.apple.com/legacy/library/documentation/Carbon/Reference/Carbon_Event_Manager_Ref/index.html
extern const UInt32 kEventHotKeyReleased; // https://developer.apple.com/legacy/library/documentation/Carbon/Reference/Carbon_Event_Manager_Ref/index.html
extern const EventParamName kEventParamDirectObject; // https://developer.apple.com/legacy/library/documentation/Carbon/Reference/Carbon_Event_Manager_Ref/index.html
extern const EventParamType typeEventHotKeyID; // https://developer.apple.com/legacy/library/documentation/Carbon/Reference/Carbon_Event_Manager_Ref/index.html

KESTRELLE_C_BEGIN
EventTargetRef GetApplicationEventTarget(void); // https://developer.apple.com/legacy/library/documentation/Carbon/Reference/Carbon_Event_Manager_Ref/index.html
OSStatus InstallEventHandler(EventTargetRef inTarget, EventHandlerUPP inHandler, ItemCount inNumTypes, const EventTypeSpec *inList, void *inUserData, EventHandlerRef *_Nullable outRef); // https://developer.apple.com/legacy/library/documentation/Carbon/Reference/Carbon_Event_Manager_Ref/index.html
// Page not found in the reference corpus, which lists it only: it takes what InstallEventHandler gave.
OSStatus RemoveEventHandler(EventHandlerRef inHandlerRef); // https://developer.apple.com/legacy/library/documentation/Carbon/Reference/Carbon_Event_Manager_Ref/index.html
// Page not found in the reference corpus; signature as read at https://gist.github.com/JFKingsley/f85dc1bb566c946423435e311f6dde0c
OSStatus GetEventParameter(EventRef inEvent, EventParamName inName, EventParamType inDesiredType, EventParamType *_Nullable outActualType, ByteCount inBufferSize, ByteCount *_Nullable outActualSize, void *outData); // https://developer.apple.com/legacy/library/documentation/Carbon/Reference/Carbon_Event_Manager_Ref/index.html
// Page not found in the reference corpus; signature as read at http://cocoatutorial.grapewave.com/2010/01/adding-a-hotkey-listener/
OSStatus RegisterEventHotKey(UInt32 inHotKeyCode, UInt32 inHotKeyModifiers, EventHotKeyID inHotKeyID, EventTargetRef inTarget, OptionBits inOptions, EventHotKeyRef *outRef); // https://developer.apple.com/legacy/library/documentation/Carbon/Reference/Carbon_Event_Manager_Ref/index.html
// Page not found in the reference corpus, which lists it only: it takes what RegisterEventHotKey gave.
OSStatus UnregisterEventHotKey(EventHotKeyRef inHotKey); // https://developer.apple.com/legacy/library/documentation/Carbon/Reference/Carbon_Event_Manager_Ref/index.html
KESTRELLE_C_END
