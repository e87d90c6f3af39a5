#include "Invocation/KeyboardEventPosting_mac.h"

#include <ApplicationServices/ApplicationServices.h>

namespace kestrelle {

namespace {

// The handles own one reference to what a Create function returned.
std::shared_ptr<void> adopt(CFTypeRef created) {
    return {const_cast<void *>(created), [](void *object) { CFRelease(object); }};
}

CGEventRef eventOf(const KeyboardEventPosting::Event &event) {
    return static_cast<CGEventRef>(event.object.get());
}

class QuartzKeyboardEvents final : public KeyboardEventPosting {
  public:
    std::uint64_t currentModifierFlags() override {
        return CGEventSourceFlagsState(kCGEventSourceStateCombinedSessionState);
    }

    std::optional<Source> makePrivateSource() override {
        CGEventSourceRef source = CGEventSourceCreate(kCGEventSourceStatePrivate);
        if (source == nullptr) {
            return std::nullopt;
        }
        return Source{adopt(source)};
    }

    std::optional<Event> makeKeyEvent(const Source &source, std::uint16_t virtualKey,
                                      bool keyDown) override {
        CGEventRef event = CGEventCreateKeyboardEvent(
            static_cast<CGEventSourceRef>(source.object.get()), virtualKey, keyDown);
        if (event == nullptr) {
            return std::nullopt;
        }
        return Event{adopt(event)};
    }

    void setFlags(Event &event, std::uint64_t flags) override {
        CGEventSetFlags(eventOf(event), flags);
    }

    void setUnicodeString(Event &event, std::span<const char16_t> units) override {
        static_assert(sizeof(char16_t) == sizeof(UniChar));
        CGEventKeyboardSetUnicodeString(eventOf(event), units.size(),
                                        reinterpret_cast<const UniChar *>(units.data()));
    }

    void postToProcess(const Event &event, std::int32_t processIdentifier) override {
        CGEventPostToPid(processIdentifier, eventOf(event));
    }
};

} // namespace

std::unique_ptr<KeyboardEventPosting> makeQuartzKeyboardEvents() {
    return std::make_unique<QuartzKeyboardEvents>();
}

} // namespace kestrelle
