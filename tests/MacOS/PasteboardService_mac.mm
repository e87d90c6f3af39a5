// Writes the general pasteboard: run where its contents do not matter (CI, a test account).
#include "Invocation/PasteboardService_mac.h"

#import <AppKit/AppKit.h>

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

TEST(GeneralPasteboardTest, OfferDeclaresPlainThenConcealedTypeAndClearEmptiesIt) {
    auto pasteboard = makeGeneralPasteboard();
    const auto before = pasteboard->changeCount();
    pasteboard->offerConcealedText("sample text, not a secret");

    NSPasteboard *general = [NSPasteboard generalPasteboard];
    NSArray<NSString *> *expected =
        @[ @"public.utf8-plain-text", @"org.nspasteboard.ConcealedType" ];
    EXPECT_TRUE([general.types isEqualToArray:expected]);
    EXPECT_TRUE([[general stringForType:@"public.utf8-plain-text"]
        isEqualToString:@"sample text, not a secret"]);
    EXPECT_TRUE([[general stringForType:@"org.nspasteboard.ConcealedType"] isEqualToString:@""]);
    EXPECT_GT(pasteboard->changeCount(), before);

    pasteboard->clearContents();
    EXPECT_EQ(general.types.count, 0u);
}

} // namespace
} // namespace kestrelle
