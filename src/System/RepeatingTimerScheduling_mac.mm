#include "System/RepeatingTimerScheduling_mac.h"

#import <Foundation/Foundation.h>

#include <chrono>

namespace kestrelle {

namespace {

NSTimeInterval seconds(Duration duration) {
    return std::chrono::duration<NSTimeInterval>(duration).count();
}

} // namespace

Subscription RunLoopRepeatingTimers::scheduleRepeating(Duration interval, Duration tolerance,
                                                       std::function<void()> tick) {
    NSTimer *timer = [NSTimer timerWithTimeInterval:seconds(interval)
                                            repeats:YES
                                              block:^(NSTimer *) {
                                                  tick();
                                              }];
    timer.tolerance = seconds(tolerance);
    [[NSRunLoop mainRunLoop] addTimer:timer forMode:NSRunLoopCommonModes];
    return Subscription([timer] { [timer invalidate]; });
}

} // namespace kestrelle
