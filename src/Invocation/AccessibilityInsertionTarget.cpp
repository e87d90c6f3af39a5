#include "Invocation/AccessibilityInsertionTarget.h"

#include "Invocation/FocusedTextSearch.h"
#include "Runtime/Logger.h"

namespace kestrelle {

namespace {

const Logger logger{"AccessibilityTarget"};

} // namespace

std::shared_ptr<AccessibilityInsertionTarget>
AccessibilityInsertionTarget::capture(AccessibilityService& accessibility,
                                      ApplicationWorkspace& workspace,
                                      PlatformTraits::PickerKeys pickerKeys) {
    if (!accessibility.isProcessTrusted()) {
        logger.info("Capture failed: Accessibility is not trusted");
        return nullptr;
    }
    const auto frontmost = workspace.frontmostApplication();
    if (!frontmost) {
        logger.info("Capture failed: no frontmost application");
        return nullptr;
    }
    const auto processIdentifier = frontmost->processIdentifier;
    // Invoked from Kestrelle's own windows or menu: there is nothing to type into.
    if (processIdentifier == workspace.currentProcessIdentifier()) {
        logger.info("Capture failed: Kestrelle is frontmost");
        return nullptr;
    }
    auto application = accessibility.applicationElement(processIdentifier);
    auto found = FocusedTextSearch(accessibility).focusedTextTarget(application);
    if (!found) {
        logger.info("Capture failed: frontmost application has no supported focused text target");
        return nullptr;
    }
    if (accessibility.processIdentifier(*found) != processIdentifier) {
        logger.info("Capture failed: Accessibility application PID mismatch");
        return nullptr;
    }
    auto target = std::make_shared<AccessibilityInsertionTarget>(
        Key{}, accessibility, workspace, processIdentifier, std::move(*found),
        std::move(application), pickerKeys);
    if (!target->beginObservingFocus()) {
        logger.info("Capture failed: could not observe focus changes");
        return nullptr;
    }
    if (!target->isFrontmost()) {
        logger.info("Capture failed: frontmost application changed during capture");
        return nullptr;
    }
    return target;
}

AccessibilityInsertionTarget::AccessibilityInsertionTarget(Key, AccessibilityService& accessibility,
                                                           ApplicationWorkspace& workspace,
                                                           std::int32_t processIdentifier,
                                                           AccessibilityElement element,
                                                           AccessibilityElement application,
                                                           PlatformTraits::PickerKeys pickerKeys)
    : accessibility_(accessibility), workspace_(workspace), processIdentifier_(processIdentifier),
      element_(std::move(element)), application_(std::move(application)), pickerKeys_(pickerKeys) {}

bool AccessibilityInsertionTarget::beginObservingFocus() {
    // The observer must not keep its target alive: the target owns the observer.
    auto creation =
        accessibility_.createObserver(processIdentifier_, [weakTarget = weak_from_this()] {
            if (const auto target = weakTarget.lock()) {
                target->recordFocusChange();
            }
        });
    if (creation.status != 0 || !creation.observer) {
        logger.notice("AXObserverCreate failed with error {}", creation.status);
        return false;
    }
    const auto status =
        creation.observer->addNotification(application_, accessibilityName::focusedElementChanged);
    if (status != 0) {
        logger.notice("AXObserverAddNotification failed with error {}", status);
        return false;
    }
    observer_ = std::move(creation.observer);
    observer_->startDelivery();
    return true;
}

void AccessibilityInsertionTarget::recordFocusChange() {
    // A field that regains the focus it never really lost is harmless.
    const auto current = FocusedTextSearch(accessibility_).focusedTextTarget(application_);
    if (current ? accessibility_.isSameElement(*current, element_)
                : pickerKeys_ == PlatformTraits::PickerKeys::keyboardGrab) {
        return;
    }
    logger.notice("Target invalidated by AX focus notification; destinationFrontmost={}",
                  isFrontmost());
    invalidate();
}

void AccessibilityInsertionTarget::recordApplicationActivation(
    std::optional<std::int32_t> processIdentifier) {
    if (processIdentifier == processIdentifier_) {
        return;
    }
    logger.notice("Target invalidated by application activation");
    invalidate();
}

std::optional<InputInjectionError> AccessibilityInsertionTarget::validationError() {
    using Kind = InputInjectionError::Kind;
    const auto fail = [](std::string_view message, Kind kind) {
        logger.notice(message);
        return std::optional<InputInjectionError>(kind);
    };
    if (!accessibility_.isProcessTrusted()) {
        return fail("Target validation failed: Accessibility permission denied",
                    Kind::permissionDenied);
    }
    if (hasFocusChanged()) {
        return fail("Target validation failed: previously observed focus change",
                    Kind::targetChanged);
    }
    if (!isFrontmost()) {
        return fail("Target validation failed: destination application is not frontmost",
                    Kind::targetChanged);
    }
    FocusedTextSearch search(accessibility_);
    if (!search.isSupportedTextTarget(element_)) {
        return fail("Target validation failed: original element is not an enabled focused text "
                    "field",
                    Kind::targetChanged);
    }
    const auto current = search.focusedTextTarget(application_);
    if (!current || !accessibility_.isSameElement(*current, element_)) {
        return fail("Target validation failed: current focused element differs from captured "
                    "element",
                    Kind::targetChanged);
    }
    // Checked again: the application may have been switched during the slower queries above.
    if (!isFrontmost()) {
        return fail("Target validation failed: destination application changed during validation",
                    Kind::targetChanged);
    }
    return std::nullopt;
}

bool AccessibilityInsertionTarget::isFrontmost() {
    const auto frontmost = workspace_.frontmostApplication();
    return frontmost && frontmost->processIdentifier == processIdentifier_;
}

bool AccessibilityInsertionTarget::hasFocusChanged() const {
    std::lock_guard guard(lock_);
    return focusChanged_;
}

void AccessibilityInsertionTarget::invalidate() {
    std::lock_guard guard(lock_);
    focusChanged_ = true;
}

} // namespace kestrelle
