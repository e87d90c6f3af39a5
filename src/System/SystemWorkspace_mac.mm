#include "System/SystemWorkspace_mac.h"

#import <AppKit/AppKit.h>

namespace kestrelle {

namespace {

NSString *stringOf(std::string_view text) {
    return [[NSString alloc] initWithBytes:text.data()
                                    length:text.size()
                                  encoding:NSUTF8StringEncoding];
}

class SharedWorkspace final : public SystemWorkspace {
  public:
    void openUrl(std::string_view url) override {
        NSString *text = stringOf(url);
        NSURL *location = text != nil ? [NSURL URLWithString:text] : nil;
        if (location != nil) {
            [[NSWorkspace sharedWorkspace] openURL:location];
        }
    }

    void revealInFileViewer(std::string_view path) override {
        NSString *text = stringOf(path);
        if (text != nil) {
            [[NSWorkspace sharedWorkspace]
                activateFileViewerSelectingURLs:@[ [NSURL fileURLWithPath:text] ]];
        }
    }
};

} // namespace

std::unique_ptr<SystemWorkspace> makeSharedWorkspace() {
    return std::make_unique<SharedWorkspace>();
}

} // namespace kestrelle
