// For scripts/check-macos-syntax only, never built into the product. Written from the Dispatch
// reference pages; only what the adapters use.
#pragma once
#include <stdint.h>

typedef uint64_t dispatch_time_t; // https://developer.apple.com/documentation/dispatch/dispatch_time_t
typedef struct kestrelle_dispatch_queue_s *dispatch_queue_t; // https://developer.apple.com/documentation/dispatch/dispatch_queue_t
typedef void (^dispatch_block_t)(void); // https://developer.apple.com/documentation/dispatch/dispatch_block_t
// The platform's main-queue type is a serial-queue subclass; the check only needs it to convert.
typedef dispatch_queue_t dispatch_queue_main_t; // https://developer.apple.com/documentation/dispatch/dispatch_queue_main_t.md
#define DISPATCH_TIME_NOW (0ull)

#ifdef __cplusplus
extern "C" {
#endif
dispatch_queue_main_t kestrelle_dispatch_get_main_queue(void); // https://developer.apple.com/documentation/dispatch/dispatch_get_main_queue.md
dispatch_time_t dispatch_time(dispatch_time_t when, int64_t delta); // https://developer.apple.com/documentation/dispatch/dispatch_time.md
void dispatch_async(dispatch_queue_t queue, dispatch_block_t block); // https://developer.apple.com/documentation/dispatch/dispatch_async.md
void dispatch_after(dispatch_time_t when, dispatch_queue_t queue, dispatch_block_t block); // https://developer.apple.com/documentation/dispatch/dispatch_after
#ifdef __cplusplus
}
#endif
// A macro on the platform.
#define dispatch_get_main_queue() kestrelle_dispatch_get_main_queue()
