#pragma once

#include "Picker/PasswordPickerContent.h"
#include "Picker/PasswordPickerKeyCommand.h"
#include "Picker/PasswordPickerKeyFocusSettling.h"
#include "Picker/PasswordPickerPanel.h"
#include "Picker/PasswordPickerSession.h"
#include "Runtime/Logger.h"
#include "Runtime/Task.h"
#include "Runtime/TaskHandle.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace kestrelle {

// The floating list of entries shown while one invocation runs. It owns the keyboard until the
// user chooses an entry, asks to configure passwords or dismisses it, and reports exactly one
// outcome per `show`: `onSelection` (the panel already hidden), `onDismiss`, or — for the
// Configure button — `onConfigure` alone, whose receiver must end the invocation itself.
// It never sees a password. Main-thread object.
class PasswordPicker : public std::enable_shared_from_this<PasswordPicker> {
    struct ConstructionKey {
        explicit ConstructionKey() = default;
    };

public:
    using SelectionHandler =
        std::function<void(Uuid invocationID, Uuid entryID, PasswordAction action)>;

    static constexpr double panelWidth = 320;
    static constexpr double pointerGap = 12;
    static constexpr double screenMargin = 24;
    static constexpr double maximumHeight = 420;
    // Used when the system reports no screen at all.
    static constexpr Rect fallbackScreenFrame{0, 0, 1440, 900};

    // The panel lives as long as the picker and is reused for every invocation; `executor`
    // outlives the picker. `screenYGrowsDown` says which way the panel's screen coordinates run.
    static std::shared_ptr<PasswordPicker> create(std::unique_ptr<PasswordPickerPanel> panel,
                                                  Executor& executor,
                                                  bool screenYGrowsDown = false);
    PasswordPicker(ConstructionKey, std::unique_ptr<PasswordPickerPanel> panel, Executor& executor,
                   bool screenYGrowsDown);
    PasswordPicker(const PasswordPicker&) = delete;
    PasswordPicker& operator=(const PasswordPicker&) = delete;
    ~PasswordPicker();

    // Shows `entries` under the pointer for one invocation, replacing any list still showing
    // without notifying anybody.
    void show(Uuid invocationID, std::vector<EntryMetadata> entries, bool canType);
    // Hides the picker and ends its session; with `notify`, a session that was showing ends with
    // `onDismiss`.
    void dismiss(bool notify);
    bool isVisible() const { return panel_->isVisible(); }

    void setOnSelection(SelectionHandler onSelection) { onSelection_ = std::move(onSelection); }
    void setOnDismiss(std::function<void(Uuid invocationID)> onDismiss) {
        onDismiss_ = std::move(onDismiss);
    }
    // Where the picker holds the keyboard by a grab, the global shortcut's press reaches it
    // instead of the shortcut: such a press dismisses it, as the shortcut would.
    void setShortcut(std::function<bool(const PasswordPickerKeyEvent&)> isShortcut) {
        isShortcut_ = std::move(isShortcut);
    }
    void setOnConfigure(std::function<void()> onConfigure) {
        onConfigure_ = std::move(onConfigure);
    }

private:
    void wire();
    // Whether the event resolved to a command; such an event is swallowed even when the command
    // then does nothing.
    bool handleKeyDown(const PasswordPickerKeyEvent& event);
    void perform(const PasswordPickerKeyCommand& command);
    void selectIndex(int index, std::optional<PasswordAction> action);
    void selectShortcut(int number, bool forcesCopy);
    void selectHighlighted(bool forcesCopy);
    void moveHighlight(int delta);
    void commit(Uuid entryID, PasswordAction action, PasswordPickerSession session);
    void configure();
    void resignedKey();
    void placePanel(std::size_t entryCount, bool canType);
    void installMonitors();
    void removeMonitors();
    bool isSettling() const;
    void beginKeyFocusSettling();
    void reassertKeyFocus();
    static Task<void> settleKeyFocus(std::weak_ptr<PasswordPicker> weakPicker);

    SelectionHandler onSelection_;
    std::function<void(Uuid)> onDismiss_;
    std::function<void()> onConfigure_;
    std::function<bool(const PasswordPickerKeyEvent&)> isShortcut_;
    Logger logger_{"Picker"};
    Executor& executor_;
    std::unique_ptr<PasswordPickerPanel> panel_;
    const bool screenYGrowsDown_;
    std::shared_ptr<PasswordPickerContent> content_ = std::make_shared<PasswordPickerContent>();
    std::optional<PasswordPickerSession> session_;
    std::unique_ptr<PasswordPickerPanel::Monitor> globalClickMonitor_;
    std::unique_ptr<PasswordPickerPanel::Monitor> localClickMonitor_;
    std::unique_ptr<PasswordPickerPanel::Monitor> keyMonitor_;
    std::optional<PasswordPickerKeyFocusSettling> keyFocusSettling_;
    std::optional<TaskHandle> keyFocusSettlingTask_;
};

} // namespace kestrelle
