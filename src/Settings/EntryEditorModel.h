#pragma once

#include "Runtime/Executor.h"
#include "Runtime/PlatformTraits.h"
#include "Runtime/Signal.h"
#include "Runtime/Task.h"
#include "Settings/EntryEditorRequest.h"
#include "Settings/EntryEditorSaveResult.h"
#include "Storage/SecureWipe.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace kestrelle {

class SettingsViewModel;

// Everything the entry editor sheet shows, and its two buttons. The sheet's fields forward every
// edit here; the typed password lives only in a buffer that wipes itself. Main-thread object,
// made by the Settings view model for each request it opens.
class EntryEditorModel : public std::enable_shared_from_this<EntryEditorModel> {
    struct ConstructionKey {
        explicit ConstructionKey() = default;
    };

public:
    using SaveCompletion = std::function<void(const EntryEditorSaveResult&)>;

    // The footer's validation or save-failure line.
    struct Message {
        std::string text;
        std::string_view symbol;

        friend bool operator==(const Message&, const Message&) = default;
    };

    static constexpr std::string_view labelTitle = "Label";
    static constexpr std::string_view characterRule =
        "Spaces and Unicode are preserved exactly. Control characters such as newlines, tabs, and "
        "NUL are not allowed.";
    static constexpr std::string_view messageSymbol = "exclamationmark.triangle.fill";
    static constexpr std::string_view cancelTitle = "Cancel";
    static constexpr std::string_view saveTitle = "Save";

    // `onSaveCompleted` hears how every submitted save ended, also after the sheet closed.
    static std::shared_ptr<EntryEditorModel>
    create(EntryEditorRequest request, Executor& executor, std::weak_ptr<SettingsViewModel> model,
           SaveCompletion onSaveCompleted,
           PlatformTraits::SystemNames names = PlatformTraits::SystemNames::macOS);
    EntryEditorModel(ConstructionKey, EntryEditorRequest request, Executor& executor,
                     std::weak_ptr<SettingsViewModel> model, SaveCompletion onSaveCompleted,
                     PlatformTraits::SystemNames names);
    EntryEditorModel(const EntryEditorModel&) = delete;
    EntryEditorModel& operator=(const EntryEditorModel&) = delete;

    const EntryEditorRequest& request() const { return request_; }

    std::string_view title() const;
    std::string_view subtitle() const;
    std::string_view passwordCaption() const;
    std::string_view passwordHint() const;
    // Describes the field's state in words; never its content or length.
    std::string_view passwordAccessibilityValue() const;

    const std::string& label() const { return label_; }
    void setLabel(std::string_view label);
    // The field's whole text after an edit; the previous text is wiped.
    void setPassword(std::string_view password);
    bool isPasswordEmpty() const { return password_.empty(); }
    // Wipes the typed password; the sheet is going away.
    void discardPassword();

    // The first failing check of what is typed now, or the last save's failure until the next
    // edit.
    std::optional<Message> footerMessage() const;
    // Shown while a save waits for approval.
    std::optional<std::string_view> progressText() const;
    bool isSaving() const { return saving_; }
    bool isCancelEnabled() const { return !saving_; }
    bool isSaveEnabled() const { return !saving_ && !validationMessage(); }
    bool allowsInteractiveDismissal() const { return !saving_; }

    // Saves through the view model; the sheet closes when the view model drops its request.
    void submit();
    void cancel();

    // Calls `observer` at once and after every change of what is shown.
    [[nodiscard]] Subscription subscribe(std::function<void()> observer);

private:
    static Task<void> finishSave(std::weak_ptr<EntryEditorModel> weak,
                                 Task<EntryEditorSaveResult> save, SaveCompletion onSaveCompleted);

    std::optional<std::string> validationMessage() const;
    std::string_view password() const { return {password_.data(), password_.size()}; }
    void changed() const { changed_.emit(); }

    EntryEditorRequest request_;
    bool mac_;
    Executor& executor_;
    std::weak_ptr<SettingsViewModel> model_;
    SaveCompletion onSaveCompleted_;
    std::string label_;
    WipingVector<char> password_;
    bool saving_ = false;
    std::optional<std::string> saveFailure_;
    Signal<> changed_;
};

} // namespace kestrelle
