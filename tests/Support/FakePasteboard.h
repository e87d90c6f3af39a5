#pragma once

#include "Invocation/PasteboardService.h"
#include "Storage/SecureWipe.h"

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace kestrelle::test {

// A general pasteboard in memory. Values are kept in wiping buffers and never printed; other
// applications' copies are simulated with `copyFromElsewhere`.
class FakePasteboard final : public PasteboardService {
public:
    void declareTypes(std::span<const std::string_view> types) override {
        ++changeCount_;
        declaredTypes.assign(types.begin(), types.end());
        values.clear();
        ++declarations;
    }
    void setString(std::string_view text, std::string_view type) override {
        values[std::string(type)].assign(text.begin(), text.end());
        if (afterSetString) {
            afterSetString(text);
        }
    }
    std::int64_t changeCount() override { return changeCount_; }
    void clearContents() override {
        ++changeCount_;
        declaredTypes.clear();
        values.clear();
        ++clears;
    }

    void copyFromElsewhere() {
        ++changeCount_;
        declaredTypes = {"public.utf8-plain-text"};
        values.clear();
        values["public.utf8-plain-text"].assign(3, 'x');
    }

    // Compares without printing: use as EXPECT_TRUE(holds(...)).
    bool holds(std::string_view type, std::string_view expected) const {
        const auto found = values.find(std::string(type));
        return found != values.end() &&
               std::string_view(found->second.data(), found->second.size()) == expected;
    }

    std::vector<std::string> declaredTypes;
    std::map<std::string, WipingVector<char>> values;
    int declarations = 0;
    int clears = 0;
    // Runs after each write, to check what is copied at the moment it is copied.
    std::function<void(std::string_view)> afterSetString;

private:
    std::int64_t changeCount_ = 100;
};

} // namespace kestrelle::test
