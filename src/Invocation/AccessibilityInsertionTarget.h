#pragma once

#include "Invocation/AccessibilityService.h"
#include "Invocation/ApplicationWorkspace.h"
#include "Invocation/CapturedInsertionTarget.h"
#include "Runtime/PlatformTraits.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>

namespace kestrelle {

// The focused text field of the application the user invoked Kestrelle from. It watches that
// application's focus from capture on, and once the focus has moved elsewhere, or another
// application was activated, it refuses every later validation. Where the picker takes the
// keyboard by a grab, the field loses its focus to nobody while the picker is up: that alone
// does not count as a move (validation still wants the field focused).
class AccessibilityInsertionTarget final
    : public CapturedInsertionTarget,
      public std::enable_shared_from_this<AccessibilityInsertionTarget> {
    struct Key {
        explicit Key() = default;
    };

public:
    // None, with the reason logged, when no supported text field can be captured. Both services
    // must outlive the target.
    static std::shared_ptr<AccessibilityInsertionTarget>
    capture(AccessibilityService& accessibility, ApplicationWorkspace& workspace,
            PlatformTraits::PickerKeys pickerKeys = PlatformTraits::PickerKeys::keyWindow);

    AccessibilityInsertionTarget(Key, AccessibilityService& accessibility,
                                 ApplicationWorkspace& workspace, std::int32_t processIdentifier,
                                 AccessibilityElement element, AccessibilityElement application,
                                 PlatformTraits::PickerKeys pickerKeys);
    AccessibilityInsertionTarget(const AccessibilityInsertionTarget&) = delete;
    AccessibilityInsertionTarget& operator=(const AccessibilityInsertionTarget&) = delete;

    std::int32_t processIdentifier() const override { return processIdentifier_; }
    const AccessibilityElement& element() const { return element_; }
    const AccessibilityElement& application() const { return application_; }

    std::optional<InputInjectionError> validationError() override;
    void recordApplicationActivation(std::optional<std::int32_t> processIdentifier) override;
    // Called for each focus notification of the captured application.
    void recordFocusChange();

private:
    bool beginObservingFocus();
    bool isFrontmost();
    bool hasFocusChanged() const;
    void invalidate();

    AccessibilityService& accessibility_;
    ApplicationWorkspace& workspace_;
    const std::int32_t processIdentifier_;
    const AccessibilityElement element_;
    const AccessibilityElement application_;
    const PlatformTraits::PickerKeys pickerKeys_;
    // Guards the latch: the platform may deliver focus notifications on another thread.
    mutable std::mutex lock_;
    bool focusChanged_ = false;
    std::unique_ptr<AccessibilityObserver> observer_;
};

} // namespace kestrelle
