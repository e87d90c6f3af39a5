#include "Invocation/PasteboardService_mac.h"

#import <AppKit/AppKit.h>

namespace kestrelle {

namespace {

NSString *const plainTextType = @"public.utf8-plain-text";
NSString *const concealedType = @"org.nspasteboard.ConcealedType";

class GeneralPasteboard final : public PasteboardService {
  public:
    void offerConcealedText(std::string_view text) override {
        NSPasteboard *pasteboard = [NSPasteboard generalPasteboard];
        [pasteboard declareTypes:@[ plainTextType, concealedType ] owner:nil];
        [pasteboard setString:[[NSString alloc] initWithBytes:text.data()
                                                       length:text.size()
                                                     encoding:NSUTF8StringEncoding]
                      forType:plainTextType];
        [pasteboard setString:@"" forType:concealedType];
    }

    std::int64_t changeCount() override { return [NSPasteboard generalPasteboard].changeCount; }

    void clearContents() override { [[NSPasteboard generalPasteboard] clearContents]; }

    void forgetText() override {}
};

} // namespace

std::unique_ptr<PasteboardService> makeGeneralPasteboard() {
    return std::make_unique<GeneralPasteboard>();
}

} // namespace kestrelle
