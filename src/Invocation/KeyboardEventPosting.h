#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

namespace kestrelle {

// The platform's synthetic keyboard events: each call is one step the platform offers, so the
// injector decides every value and the order. Flags use the platform's modifier bit layout.
// Implemented over CGEvent on macOS; faked by test::FakeKeyboardEvents.
class KeyboardEventPosting {
public:
    // A source or event made by the implementation; copies share the platform object, which
    // lives while any copy does.
    struct Source {
        std::shared_ptr<void> object;
    };
    struct Event {
        std::shared_ptr<void> object;
    };

    virtual ~KeyboardEventPosting() = default;

    // The modifier keys the user holds right now, across the whole login session.
    virtual std::uint64_t currentModifierFlags() = 0;
    // A source with state of its own, so the user's real modifier keys do not leak into its
    // events. None when the platform refuses.
    virtual std::optional<Source> makePrivateSource() = 0;
    virtual std::optional<Event> makeKeyEvent(const Source& source, std::uint16_t virtualKey,
                                              bool keyDown) = 0;
    virtual void setFlags(Event& event, std::uint64_t flags) = 0;
    // The event carries a copy of these units as the text it types.
    virtual void setUnicodeString(Event& event, std::span<const char16_t> units) = 0;
    // Delivers the event to that process alone.
    virtual void postToProcess(const Event& event, std::int32_t processIdentifier) = 0;
};

} // namespace kestrelle
