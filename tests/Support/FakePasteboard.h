#pragma once

#include "Invocation/PasteboardService.h"
#include "Storage/SecureWipe.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace kestrelle::test {

// A general pasteboard in memory. Values are kept in wiping buffers and never printed.
class FakePasteboard final : public PasteboardService {
public:
    void declareTypes(std::span<const std::string_view> types) override {
        ++changeCount_;
        ++declarations;
        declaredTypes.assign(types.begin(), types.end());
        values.clear();
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
        ++clears;
        declaredTypes.clear();
        values.clear();
    }
    // Another application copies something.
    void copyFromElsewhere() {
        declareTypes(std::vector<std::string_view>{"public.utf8-plain-text"});
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
