// What the adapters use of macOS: the SDK's own headers where they are, else declarations of just
// the functions, types and constants that are used. Where there is no SDK the adapters can still be
// compiled, for the check that links them and for the tests that bring the functions themselves.
//
// Only implementation files include this.
#pragma once

#include <cstddef>
#include <cstdint>

#if __has_include(<CoreFoundation/CoreFoundation.h>)

// Else one of them makes macros of the words "check" and "require".
#define __ASSERT_MACROS_DEFINE_VERSIONS_WITHOUT_UNDERSCORES                                        \
    0 // NOLINT(bugprone-reserved-identifier)
#include <ApplicationServices/ApplicationServices.h>
#include <Carbon/Carbon.h>
#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>

#else

extern "C" {

// --- CoreFoundation

using Boolean = unsigned char;
using CFIndex = long;
using CFTypeID = unsigned long;
using CFTimeInterval = double;
using CFStringEncoding = std::uint32_t;
using CFTypeRef = const void*;
using CFPropertyListRef = CFTypeRef;
using CFAllocatorRef = const struct OpaqueCFAllocator*;
using CFBooleanRef = const struct OpaqueCFBoolean*;
using CFBundleRef = struct OpaqueCFBundle*;
using CFDataRef = const struct OpaqueCFData*;
using CFDictionaryRef = const struct OpaqueCFDictionary*;
using CFMachPortRef = struct OpaqueCFMachPort*;
using CFMessagePortRef = struct OpaqueCFMessagePort*;
using CFNumberRef = const struct OpaqueCFNumber*;
using CFRunLoopRef = struct OpaqueCFRunLoop*;
using CFRunLoopSourceRef = struct OpaqueCFRunLoopSource*;
using CFStringRef = const struct OpaqueCFString*;
using CFURLRef = const struct OpaqueCFURL*;
using CFRunLoopMode = CFStringRef;

constexpr CFStringEncoding kCFStringEncodingUTF8 = 0x08000100;
constexpr CFAllocatorRef kCFAllocatorDefault = nullptr;
enum CFNumberType : CFIndex { kCFNumberFloat32Type = 5, kCFNumberFloat64Type = 6 };
enum : std::int32_t {
    kCFMessagePortSuccess = 0,
    kCFMessagePortSendTimeout = -1,
    kCFMessagePortReceiveTimeout = -2,
};

extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;
extern const CFRunLoopMode kCFRunLoopCommonModes;
extern const CFRunLoopMode kCFRunLoopDefaultMode;
extern const CFStringRef kCFPreferencesCurrentApplication;
// Only their addresses are used.
struct CFDictionaryKeyCallBacks;
struct CFDictionaryValueCallBacks;
extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks;
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks;

void CFRelease(CFTypeRef object);
CFTypeID CFGetTypeID(CFTypeRef object);
CFTypeID CFBooleanGetTypeID();
CFTypeID CFNumberGetTypeID();
CFTypeID CFStringGetTypeID();
Boolean CFBooleanGetValue(CFBooleanRef boolean);
CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void* value);
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value);
CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const std::uint8_t* bytes,
                                    CFIndex count, CFStringEncoding encoding, Boolean external);
CFIndex CFStringGetLength(CFStringRef string);
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size,
                           CFStringEncoding encoding);
CFDictionaryRef CFDictionaryCreate(CFAllocatorRef allocator, const void** keys, const void** values,
                                   CFIndex count, const CFDictionaryKeyCallBacks* keyCallBacks,
                                   const CFDictionaryValueCallBacks* valueCallBacks);
CFDataRef CFDataCreate(CFAllocatorRef allocator, const std::uint8_t* bytes, CFIndex length);
const std::uint8_t* CFDataGetBytePtr(CFDataRef data);
CFIndex CFDataGetLength(CFDataRef data);

CFURLRef CFURLCreateWithString(CFAllocatorRef allocator, CFStringRef text, CFURLRef base);
CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const std::uint8_t* path,
                                                 CFIndex length, Boolean isFolder);
Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolve, std::uint8_t* buffer,
                                         CFIndex size);

CFBundleRef CFBundleGetMainBundle();
CFStringRef CFBundleGetIdentifier(CFBundleRef bundle);
CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle);
CFURLRef CFBundleCopyExecutableURL(CFBundleRef bundle);
CFURLRef CFBundleCopyResourcesDirectoryURL(CFBundleRef bundle);

CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef application);
void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value, CFStringRef application);
Boolean CFPreferencesAppSynchronize(CFStringRef application);

CFRunLoopRef CFRunLoopGetMain();
void CFRunLoopAddSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFRunLoopMode mode);
void CFRunLoopRemoveSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFRunLoopMode mode);
CFRunLoopSourceRef CFMachPortCreateRunLoopSource(CFAllocatorRef allocator, CFMachPortRef port,
                                                 CFIndex order);
void CFMachPortInvalidate(CFMachPortRef port);

struct CFMessagePortContext {
    CFIndex version;
    void* info;
    const void* (*retain)(const void* info);
    void (*release)(const void* info);
    CFStringRef (*copyDescription)(const void* info);
};
using CFMessagePortCallBack = CFDataRef (*)(CFMessagePortRef port, std::int32_t message,
                                            CFDataRef data, void* info);
CFMessagePortRef CFMessagePortCreateLocal(CFAllocatorRef allocator, CFStringRef name,
                                          CFMessagePortCallBack callBack,
                                          CFMessagePortContext* context, Boolean* shouldFreeInfo);
CFMessagePortRef CFMessagePortCreateRemote(CFAllocatorRef allocator, CFStringRef name);
CFRunLoopSourceRef CFMessagePortCreateRunLoopSource(CFAllocatorRef allocator, CFMessagePortRef port,
                                                    CFIndex order);
void CFMessagePortInvalidate(CFMessagePortRef port);
std::int32_t CFMessagePortSendRequest(CFMessagePortRef port, std::int32_t message, CFDataRef data,
                                      CFTimeInterval sendTimeout, CFTimeInterval receiveTimeout,
                                      CFStringRef replyMode, CFDataRef* reply);

// --- CoreGraphics

using CGEventRef = struct OpaqueCGEvent*;
using CGEventSourceRef = struct OpaqueCGEventSource*;
using CGEventTapProxy = struct OpaqueCGEventTapProxy*;
using CGEventMask = std::uint64_t;
using CGKeyCode = std::uint16_t;
using CGEventTimestamp = std::uint64_t;

enum CGEventTapLocation : std::uint32_t { kCGHIDEventTap = 0, kCGSessionEventTap = 1 };
enum CGEventTapPlacement : std::uint32_t { kCGHeadInsertEventTap = 0 };
enum CGEventTapOptions : std::uint32_t { kCGEventTapOptionListenOnly = 1 };
enum CGEventField : std::uint32_t { kCGKeyboardEventAutorepeat = 8, kCGKeyboardEventKeycode = 9 };
enum CGEventFlags : std::uint64_t { kCGEventFlagMaskAlphaShift = 0x10000 };
enum CGEventType : std::uint32_t {
    kCGEventLeftMouseDown = 1,
    kCGEventLeftMouseUp = 2,
    kCGEventRightMouseDown = 3,
    kCGEventRightMouseUp = 4,
    kCGEventKeyDown = 10,
    kCGEventKeyUp = 11,
    kCGEventFlagsChanged = 12,
    kCGEventOtherMouseDown = 25,
    kCGEventOtherMouseUp = 26,
    kCGEventTapDisabledByTimeout = 0xFFFFFFFE,
    kCGEventTapDisabledByUserInput = 0xFFFFFFFF,
};
using CGEventTapCallBack = CGEventRef (*)(CGEventTapProxy proxy, CGEventType type, CGEventRef event,
                                          void* user);

CFMachPortRef CGEventTapCreate(CGEventTapLocation tap, CGEventTapPlacement place,
                               CGEventTapOptions options, CGEventMask mask,
                               CGEventTapCallBack callBack, void* user);
void CGEventTapEnable(CFMachPortRef port, bool enable);
std::int64_t CGEventGetIntegerValueField(CGEventRef event, CGEventField field);
void CGEventSetIntegerValueField(CGEventRef event, CGEventField field, std::int64_t value);
CGEventFlags CGEventGetFlags(CGEventRef event);
CGEventTimestamp CGEventGetTimestamp(CGEventRef event);
CGEventRef CGEventCreateKeyboardEvent(CGEventSourceRef source, CGKeyCode key, bool down);
void CGEventPost(CGEventTapLocation tap, CGEventRef event);

// --- ApplicationServices (accessibility)

extern const CFStringRef kAXTrustedCheckOptionPrompt;
Boolean AXIsProcessTrusted();
Boolean AXIsProcessTrustedWithOptions(CFDictionaryRef options);

// --- CoreServices (Launch Services)

using OSStatus = std::int32_t;
using OSType = std::uint32_t;
OSStatus LSOpenCFURLRef(CFURLRef url, CFURLRef* launched);

// --- Carbon (hot keys)

using EventRef = struct OpaqueEventRef*;
using EventHandlerRef = struct OpaqueEventHandlerRef*;
using EventHandlerCallRef = struct OpaqueEventHandlerCallRef*;
using EventHotKeyRef = struct OpaqueEventHotKeyRef*;
using EventTargetRef = struct OpaqueEventTargetRef*;
using EventHandlerUPP = OSStatus (*)(EventHandlerCallRef next, EventRef event, void* user);

#pragma pack(push, 2)
struct EventTypeSpec {
    OSType eventClass;
    std::uint32_t eventKind;
};
struct EventHotKeyID {
    OSType signature;
    std::uint32_t id;
};
#pragma pack(pop)

constexpr OSType kEventClassKeyboard = 0x6b657962; // 'keyb'
constexpr std::uint32_t kEventHotKeyPressed = 5;
constexpr OSType kEventParamDirectObject = 0x2d2d2d2d; // '----'
constexpr OSType typeEventHotKeyID = 0x686b6964;       // 'hkid'

EventTargetRef GetApplicationEventTarget();
OSStatus InstallEventHandler(EventTargetRef target, EventHandlerUPP handler, unsigned long count,
                             const EventTypeSpec* types, void* user, EventHandlerRef* reference);
OSStatus RemoveEventHandler(EventHandlerRef reference);
OSStatus RegisterEventHotKey(std::uint32_t key, std::uint32_t modifiers, EventHotKeyID identifier,
                             EventTargetRef target, std::uint32_t options,
                             EventHotKeyRef* reference);
OSStatus UnregisterEventHotKey(EventHotKeyRef reference);
OSStatus GetEventParameter(EventRef event, OSType name, OSType type, OSType* actualType,
                           unsigned long size, unsigned long* actualSize, void* data);

} // extern "C"

#endif

// --- libobjc

#if defined(__APPLE__) && __has_include(<objc/message.h>) // GCC has one of its own
#include <objc/message.h>
#include <objc/runtime.h>
#else
extern "C" {
using Class = struct objc_class*;
using id = struct objc_object*;
using SEL = struct objc_selector*;
Class objc_getClass(const char* name);
SEL sel_registerName(const char* name);
void objc_msgSend();
}
#endif

// --- libSystem

#if __has_include(<libproc.h>)
#include <libproc.h>
#else
extern "C" {
constexpr int PROC_PIDTBSDINFO = 3;
constexpr int PROC_PIDPATHINFO_MAXSIZE = 4096;
// Of its fields only the parent is used.
struct proc_bsdinfo {
    std::uint32_t head[4];
    std::uint32_t pbi_ppid;
    std::uint32_t rest[29];
};
int proc_pidinfo(int pid, int flavor, std::uint64_t argument, void* buffer, int size);
int proc_pidpath(int pid, void* buffer, std::uint32_t size);
}
#endif

#if __has_include(<mach/mach_time.h>)
#include <mach/mach_time.h>
#else
extern "C" {
struct mach_timebase_info_data_t {
    std::uint32_t numer;
    std::uint32_t denom;
};
std::uint64_t mach_absolute_time();
int mach_timebase_info(mach_timebase_info_data_t* info);
}
#endif

#if __has_include(<sysdir.h>)
#include <sysdir.h>
#else
extern "C" {
using sysdir_search_path_enumeration_state = unsigned int;
enum sysdir_search_path_directory_t : unsigned int {
    SYSDIR_DIRECTORY_APPLICATION_SUPPORT = 14,
    SYSDIR_DIRECTORY_DOWNLOADS = 15,
};
enum sysdir_search_path_domain_mask_t : unsigned int { SYSDIR_DOMAIN_MASK_USER = 1 };
// Fills a buffer of PATH_MAX bytes.
sysdir_search_path_enumeration_state
sysdir_start_search_path_enumeration(sysdir_search_path_directory_t directory,
                                     sysdir_search_path_domain_mask_t mask);
sysdir_search_path_enumeration_state
sysdir_get_next_search_path_enumeration(sysdir_search_path_enumeration_state state, char* path);
}
#endif

#if __has_include(<malloc/malloc.h>)
#include <malloc/malloc.h>
#else
extern "C" {
using malloc_zone_t = struct OpaqueMallocZone;
std::size_t malloc_zone_pressure_relief(malloc_zone_t* zone, std::size_t goal);
}
#endif
