#include "Settings/EntryEditorModel.h"

#include "Runtime/TaskHandle.h"
#include "Settings/PasswordSettingsService.h"
#include "Settings/PasswordValidationError.h"
#include "Settings/SettingsViewModel.h"

namespace kestrelle {

namespace {

// An empty field keeps the stored value, or changes only the label of an entry without one.
bool acceptsEmptyPassword(PasswordFieldPresentation presentation) {
    return presentation == PasswordFieldPresentation::savedSecret ||
           presentation == PasswordFieldPresentation::missingSecret;
}

} // namespace

std::shared_ptr<EntryEditorModel> EntryEditorModel::create(EntryEditorRequest request,
                                                           Executor& executor,
                                                           std::weak_ptr<SettingsViewModel> model,
                                                           SaveCompletion onSaveCompleted,
                                                           PlatformTraits::SystemNames names) {
    return std::make_shared<EntryEditorModel>(ConstructionKey{}, std::move(request), executor,
                                              std::move(model), std::move(onSaveCompleted), names);
}

EntryEditorModel::EntryEditorModel(ConstructionKey, EntryEditorRequest request, Executor& executor,
                                   std::weak_ptr<SettingsViewModel> model,
                                   SaveCompletion onSaveCompleted,
                                   PlatformTraits::SystemNames names)
    : request_(std::move(request)), mac_(names == PlatformTraits::SystemNames::macOS),
      executor_(executor), model_(std::move(model)), onSaveCompleted_(std::move(onSaveCompleted)),
      label_(request_.label) {}

std::string_view EntryEditorModel::title() const {
    if (request_.mode.isAdd()) {
        return "Add Password";
    }
    return request_.mode.isRepair() ? "Repair Password" : "Edit Password";
}

std::string_view EntryEditorModel::subtitle() const {
    if (request_.mode.isAdd()) {
        return mac_ ? "Saving asks for Touch ID and stores the password in the protected Keychain."
                    : "Saving asks for approval and stores the password in your keyring.";
    }
    if (request_.mode.isRepair()) {
        return "The saved password for this entry is gone. Store a replacement to make it usable "
               "again.";
    }
    return mac_ ? "Rename this entry, replace its password, or both. Saving asks for Touch ID."
                : "Rename this entry, replace its password, or both. Saving asks for approval.";
}

std::string_view EntryEditorModel::passwordCaption() const {
    return request_.passwordField == PasswordFieldPresentation::newSecret ? "Password"
                                                                          : "Replacement Password";
}

std::string_view EntryEditorModel::passwordHint() const {
    switch (request_.passwordField) {
    case PasswordFieldPresentation::newSecret:
        return "Required. Kestrelle types this value for you later.";
    case PasswordFieldPresentation::savedSecret:
        return "Leave blank to keep current.";
    case PasswordFieldPresentation::missingSecret:
        return "No usable password is stored. Enter a replacement to repair this entry, or leave "
               "blank to change only the label.";
    case PasswordFieldPresentation::replacementRequired:
        break;
    }
    return "Required. The previous value cannot be recovered.";
}

std::string_view EntryEditorModel::passwordAccessibilityValue() const {
    if (!password_.empty()) {
        // The same words for a new entry too: they name no length and no content.
        return "Replacement entered";
    }
    switch (request_.passwordField) {
    case PasswordFieldPresentation::savedSecret:
        return "Empty. The saved password is kept unless you type a replacement.";
    case PasswordFieldPresentation::missingSecret:
        return "Empty. No password is stored for this entry.";
    case PasswordFieldPresentation::newSecret:
    case PasswordFieldPresentation::replacementRequired:
        break;
    }
    return "Empty. A password is required.";
}

void EntryEditorModel::setLabel(std::string_view label) {
    label_ = label;
    saveFailure_.reset();
    changed();
}

void EntryEditorModel::setPassword(std::string_view password) {
    // The old buffer goes back through the wiping allocator.
    password_ = WipingVector<char>(password.begin(), password.end());
    saveFailure_.reset();
    changed();
}

void EntryEditorModel::discardPassword() {
    password_ = WipingVector<char>();
    changed();
}

std::optional<std::string> EntryEditorModel::validationMessage() const {
    try {
        PasswordSettingsService::validatedLabel(label_);
        if (!(password_.empty() && acceptsEmptyPassword(request_.passwordField))) {
            PasswordSettingsService::validatedPasswordData(password());
        }
    } catch (const PasswordValidationError& error) {
        return error.description();
    }
    return std::nullopt;
}

std::optional<EntryEditorModel::Message> EntryEditorModel::footerMessage() const {
    if (saving_) {
        return std::nullopt;
    }
    auto text = saveFailure_ ? saveFailure_ : validationMessage();
    if (!text) {
        return std::nullopt;
    }
    return Message{std::move(*text), messageSymbol};
}

std::optional<std::string_view> EntryEditorModel::progressText() const {
    if (!saving_) {
        return std::nullopt;
    }
    return mac_ ? "Waiting for Touch ID…" : "Waiting for approval…";
}

void EntryEditorModel::submit() {
    auto model = model_.lock();
    if (!model || !isSaveEnabled()) {
        return;
    }
    saving_ = true;
    saveFailure_.reset();
    // Passed as typed, untrimmed; the service has copied it when this returns.
    auto save = model->saveEditor(request_, label_, password());
    spawn(executor_, finishSave(weak_from_this(), std::move(save), onSaveCompleted_));
    changed();
}

Task<void> EntryEditorModel::finishSave(std::weak_ptr<EntryEditorModel> weak,
                                        Task<EntryEditorSaveResult> save,
                                        SaveCompletion onSaveCompleted) {
    const auto result = co_await std::move(save);
    if (auto self = weak.lock()) {
        self->saving_ = false;
        self->saveFailure_ = result.failureMessage;
        self->changed();
    }
    if (onSaveCompleted) {
        onSaveCompleted(result);
    }
}

void EntryEditorModel::cancel() {
    if (saving_) {
        return;
    }
    if (auto model = model_.lock()) {
        model->closeEditor(request_);
    }
}

Subscription EntryEditorModel::subscribe(std::function<void()> observer) {
    observer();
    return changed_.subscribe(std::move(observer));
}

} // namespace kestrelle
