#include "Picker/PasswordPicker.h"

#include "Runtime/Cancellation.h"

#include <algorithm>

namespace kestrelle {

namespace {

// A handler for the panel, its monitors or the content that calls `action` on the picker while
// it exists and does nothing once it is gone.
template <class Action>
auto weakly(std::weak_ptr<PasswordPicker> picker, Action action) {
    return [picker = std::move(picker), action](const auto&... arguments) {
        if (auto strong = picker.lock()) {
            action(*strong, arguments...);
        }
    };
}

} // namespace

std::shared_ptr<PasswordPicker> PasswordPicker::create(std::unique_ptr<PasswordPickerPanel> panel,
                                                       Executor& executor, bool screenYGrowsDown) {
    auto picker = std::make_shared<PasswordPicker>(ConstructionKey{}, std::move(panel), executor,
                                                   screenYGrowsDown);
    picker->wire();
    return picker;
}

PasswordPicker::PasswordPicker(ConstructionKey, std::unique_ptr<PasswordPickerPanel> panel,
                               Executor& executor, bool screenYGrowsDown)
    : executor_(executor), panel_(std::move(panel)), screenYGrowsDown_(screenYGrowsDown) {}

PasswordPicker::~PasswordPicker() {
    if (keyFocusSettlingTask_) {
        keyFocusSettlingTask_->cancel();
    }
}

void PasswordPicker::wire() {
    const std::weak_ptr<PasswordPicker> weak = weak_from_this();
    panel_->setContent(content_);
    panel_->setKeyDownHandler(
        weakly(weak, [](PasswordPicker& picker, const PasswordPickerKeyEvent& event) {
            picker.handleKeyDown(event);
        }));
    panel_->setResignKeyHandler(weakly(weak, [](PasswordPicker& picker) { picker.resignedKey(); }));
    content_->setOnSelect(weakly(
        weak, [](PasswordPicker& picker, int index) { picker.selectIndex(index, std::nullopt); }));
    content_->setOnCopy(weakly(weak, [](PasswordPicker& picker, int index) {
        picker.selectIndex(index, PasswordAction::copy);
    }));
    content_->setOnConfigure(weakly(weak, [](PasswordPicker& picker) { picker.configure(); }));
}

void PasswordPicker::show(Uuid invocationID, std::vector<EntryMetadata> entries, bool canType) {
    const std::size_t count = entries.size();
    const auto highlighted = count > 0 ? std::optional<int>(0) : std::nullopt;
    session_ = PasswordPickerSession{invocationID, std::move(entries),
                                     canType ? PasswordAction::type : PasswordAction::copy,
                                     highlighted, false};
    content_->render(session_->entries, highlighted, canType);
    panel_->renderContent();
    placePanel(count, canType);
    keyFocusSettling_ = PasswordPickerKeyFocusSettling::startingAt(executor_.monotonicNow());
    panel_->orderFrontRegardless();
    panel_->makeKeyWindow();
    installMonitors();
    beginKeyFocusSettling();
}

void PasswordPicker::placePanel(std::size_t entryCount, bool canType) {
    const Point pointer = panel_->pointerLocation();
    Rect frame = fallbackScreenFrame;
    const auto screens = panel_->screens();
    const auto underPointer = std::find_if(screens.begin(), screens.end(), [&](const auto& screen) {
        return screen.frame.contains(pointer);
    });
    if (underPointer != screens.end()) {
        frame = underPointer->visibleFrame;
    } else if (const auto main = panel_->mainScreen()) {
        frame = main->visibleFrame;
    }

    const double maximum =
        std::clamp(frame.height - screenMargin, PasswordPickerContent::emptyHeight, maximumHeight);
    const double height =
        std::min(PasswordPickerContent::documentHeight(entryCount, canType), maximum);
    panel_->setContentSize({panelWidth, height});

    // The panel hangs below the pointer. The left bound goes first, so a panel wider than the
    // frame is pinned to its right edge; one taller than the frame is pinned to its top.
    const double x =
        std::min(std::max(pointer.x - panelWidth / 2, frame.x), frame.maxX() - panelWidth);
    const double y =
        screenYGrowsDown_
            ? std::max(std::min(pointer.y + pointerGap, frame.maxY() - height), frame.y)
            : std::min(std::max(pointer.y - height - pointerGap, frame.y), frame.maxY() - height);
    panel_->setFrameOrigin({x, y});
}

void PasswordPicker::dismiss(bool notify) {
    removeMonitors();
    if (keyFocusSettlingTask_) {
        keyFocusSettlingTask_->cancel();
        keyFocusSettlingTask_.reset();
    }
    keyFocusSettling_.reset();
    const auto invocationID = session_ ? std::optional<Uuid>(session_->invocationID) : std::nullopt;
    session_.reset();
    panel_->orderOut();
    if (notify && invocationID && onDismiss_) {
        // A copy, so the receiver may replace the callback or drop the picker.
        auto onDismiss = onDismiss_;
        onDismiss(*invocationID);
    }
}

bool PasswordPicker::handleKeyDown(const PasswordPickerKeyEvent& event) {
    if (isShortcut_ && isShortcut_(event)) {
        dismiss(true);
        return true;
    }
    const auto command =
        PasswordPickerKeyCommand::resolve(event.key, event.characters, event.modifierFlags);
    if (!command) {
        return false;
    }
    perform(*command);
    return true;
}

void PasswordPicker::perform(const PasswordPickerKeyCommand& command) {
    using Command = PasswordPickerKeyCommand;
    if (const auto* shortcut = std::get_if<Command::Shortcut>(&command.kind)) {
        // 0 names no entry: it is swallowed and does nothing.
        selectShortcut(shortcut->number, shortcut->forcesCopy);
    } else if (const auto* select = std::get_if<Command::SelectHighlighted>(&command.kind)) {
        selectHighlighted(select->forcesCopy);
    } else if (const auto* move = std::get_if<Command::Move>(&command.kind)) {
        moveHighlight(move->delta);
    } else {
        dismiss(true);
    }
}

void PasswordPicker::selectIndex(int index, std::optional<PasswordAction> action) {
    if (!session_ || session_->consumed || index < 0 ||
        static_cast<std::size_t>(index) >= session_->entries.size()) {
        return;
    }
    auto session = *session_;
    session.consumed = true;
    const Uuid entryID = session.entries[static_cast<std::size_t>(index)].id();
    const PasswordAction chosen = action.value_or(session.primaryAction);
    commit(entryID, chosen, std::move(session));
}

void PasswordPicker::selectShortcut(int number, bool forcesCopy) {
    if (!session_) {
        return;
    }
    auto session = *session_;
    if (const auto entryID = session.consumeShortcut(number)) {
        const auto action = forcesCopy ? PasswordAction::copy : session.primaryAction;
        commit(*entryID, action, std::move(session));
    }
}

void PasswordPicker::selectHighlighted(bool forcesCopy) {
    if (session_ && session_->highlightedIndex) {
        selectIndex(*session_->highlightedIndex,
                    forcesCopy ? std::optional(PasswordAction::copy) : std::nullopt);
    }
}

void PasswordPicker::commit(Uuid entryID, PasswordAction action, PasswordPickerSession session) {
    const Uuid invocationID = session.invocationID;
    session_ = std::move(session);
    dismiss(false);
    if (onSelection_) {
        auto onSelection = onSelection_;
        onSelection(invocationID, entryID, action);
    }
}

void PasswordPicker::moveHighlight(int delta) {
    if (!session_) {
        return;
    }
    auto& session = *session_;
    const auto count = static_cast<int>(session.entries.size());
    // No wrapping at either end.
    if (!session.consumed && count > 0) {
        session.highlightedIndex =
            std::clamp(session.highlightedIndex.value_or(0) + delta, 0, count - 1);
    }
    content_->setHighlighted(session.highlightedIndex);
    panel_->updateHighlight(session.highlightedIndex);
}

void PasswordPicker::configure() {
    dismiss(false);
    if (onConfigure_) {
        auto onConfigure = onConfigure_;
        onConfigure();
    }
}

void PasswordPicker::resignedKey() {
    // While settling, the settle task takes focus back.
    if (!session_ || isSettling()) {
        return;
    }
    logger_.notice("Picker dismissed: the panel resigned key focus");
    dismiss(true);
}

void PasswordPicker::installMonitors() {
    removeMonitors();
    const std::weak_ptr<PasswordPicker> weak = weak_from_this();
    keyMonitor_ = panel_->addLocalKeyMonitor([weak](const PasswordPickerKeyEvent& event) {
        const auto picker = weak.lock();
        return picker && picker->handleKeyDown(event);
    });
    localClickMonitor_ =
        panel_->addLocalClickMonitor(weakly(weak, [](PasswordPicker& picker, bool onPanel) {
            if (!onPanel) {
                picker.dismiss(true);
            }
        }));
    globalClickMonitor_ = panel_->addGlobalClickMonitor(
        weakly(weak, [](PasswordPicker& picker) { picker.dismiss(true); }));
}

void PasswordPicker::removeMonitors() {
    keyMonitor_.reset();
    localClickMonitor_.reset();
    globalClickMonitor_.reset();
}

bool PasswordPicker::isSettling() const {
    return keyFocusSettling_ && keyFocusSettling_->isActive(executor_.monotonicNow());
}

void PasswordPicker::beginKeyFocusSettling() {
    if (keyFocusSettlingTask_) {
        keyFocusSettlingTask_->cancel();
    }
    keyFocusSettlingTask_ = spawn(executor_, settleKeyFocus(weak_from_this()));
}

void PasswordPicker::reassertKeyFocus() {
    if (keyFocusSettling_->attempts++ == 0) {
        logger_.notice("Invocation {} picker restoring key focus", session_->invocationID);
    }
    panel_->orderFrontRegardless();
    panel_->makeKeyWindow();
}

// Every dismissal and every new `show` cancels this task, so while it runs its session is the
// one showing.
Task<void> PasswordPicker::settleKeyFocus(std::weak_ptr<PasswordPicker> weakPicker) {
    for (;;) {
        // Ends the task with CancelledError once it is cancelled.
        co_await sleepFor(PasswordPickerKeyFocusSettling::pollInterval);
        // Not held across the sleep, so the task never keeps the picker alive.
        const auto picker = weakPicker.lock();
        if (!picker) {
            co_return;
        }
        if (!picker->isSettling()) {
            // A resignation during the second was ignored, and a panel never made key resigns
            // nothing: left like this, keys would go to the other application.
            if (!picker->panel_->isKeyWindow()) {
                picker->logger_.notice("Picker dismissed: key focus not regained after showing");
                picker->dismiss(true);
            }
            co_return;
        }
        if (!picker->panel_->isKeyWindow()) {
            picker->reassertKeyFocus();
        }
    }
}

} // namespace kestrelle
