// For scripts/check-macos-syntax only, never built into the product. Written from the unified
// logging reference pages; only what the adapters use.
#pragma once
#import <Foundation/Foundation.h>
#include <stdint.h>

// An object under ARC, as on the platform; the page's OS_os_log protocol adds nothing the adapter calls.
typedef NSObject *os_log_t; // https://developer.apple.com/documentation/os/os_log_t.md
typedef uint8_t os_log_type_t; // https://developer.apple.com/documentation/os/os_log_type_t
static const os_log_type_t OS_LOG_TYPE_DEFAULT = 0x00; // https://developer.apple.com/documentation/os/os_log_type_t/os_log_type_default
static const os_log_type_t OS_LOG_TYPE_INFO = 0x01; // https://developer.apple.com/documentation/os/os_log_type_t/os_log_type_info
static const os_log_type_t OS_LOG_TYPE_ERROR = 0x10; // https://developer.apple.com/documentation/os/os_log_type_t/os_log_type_error

#ifdef __cplusplus
extern "C" {
#endif
os_log_t os_log_create(const char *subsystem, const char *category); // https://developer.apple.com/documentation/os/os_log_create
// A macro that demands a constant format: modelled by a checked function behind a macro that
// only accepts a string literal.
void kestrelle_os_log_with_type(os_log_t log, os_log_type_t type, const char *format, ...) __attribute__((format(os_log, 3, 4))); // https://developer.apple.com/documentation/os/os_log_with_type.md
#ifdef __cplusplus
}
#endif
#define os_log_with_type(log, type, format, ...) kestrelle_os_log_with_type(log, type, "" format, ##__VA_ARGS__)
