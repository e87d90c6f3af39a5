#pragma once

#import <Foundation/Foundation.h>

#include <string>
#include <string_view>

namespace kestrelle {

// The core's UTF-8 text as Foundation strings and back, for the views that draw its models.
inline NSString *foundationString(std::string_view text) {
    return [[NSString alloc] initWithBytes:text.data()
                                    length:text.size()
                                  encoding:NSUTF8StringEncoding];
}

inline std::string utf8String(NSString *text) {
    const char *bytes = text.UTF8String;
    return bytes == nullptr ? std::string() : std::string(bytes);
}

} // namespace kestrelle
