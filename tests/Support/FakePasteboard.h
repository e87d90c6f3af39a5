#pragma once

#include "Invocation/PasteboardService.h"

#include <functional>
#include <optional>

namespace kestrelle::test {

// A general clipboard in memory. Like an X11 clipboard owner, it reads the offered text from the
// caller's bytes until told to stop, and it never prints it.
class FakePasteboard final : public PasteboardService {
public:
    void offerConcealedText(std::string_view offered) override {
        ++changeCount_;
        ++offers;
        text = offered;
        if (afterOffer) {
            afterOffer(offered);
        }
    }
    std::int64_t changeCount() override { return changeCount_; }
    void clearContents() override {
        ++changeCount_;
        ++clears;
        text.reset();
    }
    void forgetText() override { text.reset(); }
    // Another application copies something.
    void copyFromElsewhere() {
        ++changeCount_;
        text.reset();
    }

    // Compares without printing: use as EXPECT_TRUE(holds(...)).
    bool holds(std::string_view expected) const { return text && *text == expected; }

    // The caller's bytes while lent.
    std::optional<std::string_view> text;
    int offers = 0;
    int clears = 0;
    // Runs after each offer, to check what is copied at the moment it is copied.
    std::function<void(std::string_view)> afterOffer;

private:
    std::int64_t changeCount_ = 100;
};

} // namespace kestrelle::test
