#pragma once

#include "Invocation/KeyboardEventPosting.h"
#include "Runtime/Executor.h"
#include "Runtime/ModifierFlags.h"
#include "Storage/SecureWipe.h"

#include <functional>
#include <memory>
#include <ostream>
#include <ranges>
#include <string_view>
#include <vector>

namespace kestrelle {

// Keeps typed text out of gtest's failure output.
inline void PrintTo(const WipingVector<char16_t>& units, std::ostream* out) {
    *out << "<" << units.size() << " secret units>";
}

} // namespace kestrelle

namespace kestrelle::test {

// Compares without printing: use as EXPECT_TRUE(sameUnits(...)).
inline bool sameUnits(const WipingVector<char16_t>& units, std::u16string_view expected) {
    return std::u16string_view(units.data(), units.size()) == expected;
}

// Records every event it posts, with the virtual time of posting, and never prints what the
// events carry. The user's modifier keys and failures to make sources and events are scripted.
class FakeKeyboardEvents final : public KeyboardEventPosting {
public:
    struct Posted {
        bool keyDown = false;
        std::int32_t processIdentifier = 0;
        // Until set, what the session's state would leak into the event.
        std::uint64_t flags = modifier::option | 0x100;
        std::uint16_t virtualKey = 0;
        WipingVector<char16_t> units;
        MonotonicTime at;
    };

    explicit FakeKeyboardEvents(const Executor& clock) : clock_(&clock) {}

    // The next `heldChecks` reads report Option held, later ones `releasedFlags`.
    int heldChecks = 0;
    std::uint64_t releasedFlags = 0;
    int modifierChecks = 0;
    bool failSourceCreation = false;
    // The event creation, counted from 1, that gives nothing.
    int failingEventCreation = 0;
    std::vector<Posted> posted;
    // Runs after each post, to act between the events of an insertion.
    std::function<void(const Posted&)> afterPost;

    // The number of units each key-down event carried, in order, and all those units.
    std::vector<std::size_t> chunkSizes() const {
        std::vector<std::size_t> sizes;
        for (const auto& event : posted | std::views::filter(&Posted::keyDown)) {
            sizes.push_back(event.units.size());
        }
        return sizes;
    }
    WipingVector<char16_t> typedUnits() const {
        WipingVector<char16_t> all;
        for (const auto& event : posted | std::views::filter(&Posted::keyDown)) {
            all.insert(all.end(), event.units.begin(), event.units.end());
        }
        return all;
    }

    std::uint64_t currentModifierFlags() override {
        return modifierChecks++ < heldChecks ? modifier::option : releasedFlags;
    }
    std::optional<Source> makePrivateSource() override {
        return failSourceCreation ? std::nullopt : std::optional(Source{std::make_shared<int>()});
    }
    std::optional<Event> makeKeyEvent(const Source&, std::uint16_t virtualKey,
                                      bool keyDown) override {
        if (++eventsMade_ == failingEventCreation) {
            return std::nullopt;
        }
        auto event = std::make_shared<Posted>();
        event->keyDown = keyDown;
        event->virtualKey = virtualKey;
        return Event{std::move(event)};
    }
    void setFlags(Event& event, std::uint64_t flags) override { contents(event).flags = flags; }
    void setUnicodeString(Event& event, std::span<const char16_t> units) override {
        contents(event).units.assign(units.begin(), units.end());
    }
    void postToProcess(const Event& event, std::int32_t processIdentifier) override {
        posted.push_back(contents(event));
        posted.back().processIdentifier = processIdentifier;
        posted.back().at = clock_->monotonicNow();
        if (afterPost) {
            afterPost(posted.back());
        }
    }

private:
    static Posted& contents(const Event& event) {
        return *static_cast<Posted*>(event.object.get());
    }

    const Executor* clock_;
    int eventsMade_ = 0;
};

} // namespace kestrelle::test
