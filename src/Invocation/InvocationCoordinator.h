#pragma once

#include "Invocation/AlertPresenting.h"
#include "Invocation/ApplicationActivations.h"
#include "Invocation/ApplicationWorkspace.h"
#include "Invocation/CapturedInsertionTarget.h"
#include "Invocation/InputInjector.h"
#include "Invocation/InvocationCatalogProvider.h"
#include "Invocation/PasswordClipboard.h"
#include "Picker/PasswordPicker.h"
#include "Runtime/Executor.h"
#include "Runtime/Generation.h"
#include "Runtime/PlatformTraits.h"
#include "Runtime/TaskHandle.h"
#include "Security/SecurePasswordService.h"

#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <variant>

namespace kestrelle {

// Runs one invocation at a time, from the shortcut press to a typed or copied password: capture
// of the focused field, approval, the picker, delivery. Main-thread object. After every
// suspension an operation re-acquires the coordinator and checks, with the token of the state
// it started in, that its invocation is still current in that phase; so a cancellation from any
// source wins over late results. An operation that ends without spending its approval discards
// it in the secure password service.
class InvocationCoordinator : public std::enable_shared_from_this<InvocationCoordinator> {
    struct ConstructionKey {
        explicit ConstructionKey() = default;
    };

public:
    static constexpr std::string_view alertTitle = "Password not delivered";
    static constexpr auto targetPollInterval = std::chrono::milliseconds{25};
    // The prompt's own windows get about a second to give the focus back; another application
    // half a second.
    static constexpr int authenticationInterfaceWaits = 40;
    static constexpr int otherApplicationWaits = 20;
    // How often a capture at release, and a wait for the field's focus after a keyboard grab,
    // look again within the traits' periods.
    static constexpr auto retryInterval = std::chrono::milliseconds{10};
    // The field usually has its focus back a moment after the shortcut's grab ends, so a
    // capture at release first looks again this soon.
    static constexpr auto firstRecaptureDelay = std::chrono::milliseconds{1};

    struct Dependencies {
        Executor& executor;
        std::shared_ptr<SecurePasswordService> securePasswords;
        EntryCatalogStoring& repository;
        std::shared_ptr<PasswordPicker> picker;
        InputInjector& injector;
        PasswordClipboard& clipboard;
        ApplicationWorkspace& workspace;
        ApplicationActivations& activations;
        AlertPresenting& alerts;
        // Captures the focused text field of the frontmost application, if there is one.
        std::function<std::shared_ptr<CapturedInsertionTarget>()> captureTarget;
        PlatformTraits traits = PlatformTraits::macOS();
    };

    enum class Phase { idle, authenticating, choosing, inserting };

    static std::shared_ptr<InvocationCoordinator> create(Dependencies dependencies);
    InvocationCoordinator(ConstructionKey, Dependencies dependencies);
    InvocationCoordinator(const InvocationCoordinator&) = delete;
    InvocationCoordinator& operator=(const InvocationCoordinator&) = delete;
    ~InvocationCoordinator();

    // A shortcut press: starts an invocation, or closes the picker when it is showing.
    void begin();
    // Abandons whatever invocation is running.
    void cancel();
    // The hard reset that precedes every change to entries: abandons the invocation, and no
    // approval survives it.
    void cancelAll();
    // Opens Settings when the picker's Configure button is pressed.
    void setOnConfigure(std::function<void()> onConfigure) {
        onConfigure_ = std::move(onConfigure);
    }

    Phase phase() const { return static_cast<Phase>(state_.index()); }

    // Whether a bundle (X11: a window class) belongs to the system's authentication interface:
    // the biometric prompt, or the desktop's polkit agent.
    static bool isAuthenticationUserInterface(const std::optional<std::string>& bundleIdentifier);

private:
    struct Invocation {
        Uuid id;
        std::shared_ptr<CapturedInsertionTarget> target;
        std::optional<FrontmostApplication> origin;
    };
    struct Idle {};
    struct Authenticating {
        Invocation invocation;
    };
    struct Choosing {
        Invocation invocation;
        InvocationSession session;
        InvocationCatalogProvider::Snapshot snapshot;
    };
    struct Inserting {
        Invocation invocation;
    };
    // The order matches Phase.
    using State = std::variant<Idle, Authenticating, Choosing, Inserting>;

    // What an operation keeps across its suspensions instead of the coordinator itself.
    struct Services {
        std::shared_ptr<SecurePasswordService> securePasswords;
        std::shared_ptr<InvocationCatalogProvider> catalog;
    };

    // The coordinator, provided it still exists and is still in the state `token` was taken
    // in: the same invocation, in the same phase. Null otherwise.
    static std::shared_ptr<InvocationCoordinator>
    current(const std::weak_ptr<InvocationCoordinator>& weak, Generation::Token token);
    // The same, for an operation resuming after a suspension: when the coordinator is gone or
    // has moved on, the operation stops here with CancelledError.
    static std::shared_ptr<InvocationCoordinator>
    reacquire(const std::weak_ptr<InvocationCoordinator>& weak, Generation::Token token);

    // Runs an invocation's operation; a failure ends the invocation and is shown, unless the
    // invocation ended meanwhile.
    static Task<void> run(std::weak_ptr<InvocationCoordinator> weak, Generation::Token token,
                          Task<void> operation);
    static Task<void> authenticate(std::weak_ptr<InvocationCoordinator> weak, Invocation invocation,
                                   Generation::Token token);
    static Task<void> waitForTarget(std::weak_ptr<InvocationCoordinator> weak,
                                    Invocation invocation, Generation::Token token);
    // Looks for the field again for the capture retry period, keeping the first one found.
    static Task<std::shared_ptr<CapturedInsertionTarget>>
    recapture(std::weak_ptr<InvocationCoordinator> weak, Generation::Token token);
    // Validates the field before typing, waiting up to the refocus period for its focus.
    static Task<void> awaitFocusedTarget(std::weak_ptr<InvocationCoordinator> weak,
                                         std::shared_ptr<CapturedInsertionTarget> target,
                                         Generation::Token token);
    static Task<void> deliver(std::weak_ptr<InvocationCoordinator> weak, Invocation invocation,
                              InvocationSession session,
                              InvocationCatalogProvider::Snapshot snapshot, Uuid entryID,
                              PasswordAction action, Generation::Token token);
    static Task<void> expire(std::weak_ptr<InvocationCoordinator> weak, Uuid invocationID,
                             Duration after);

    // Enters `state`, which makes every token of the one before stale, and returns its token.
    Generation::Token enter(State state);
    Services services() const { return {securePasswords_, catalog_}; }
    // Whether the prompt's own windows, or this app, are in front.
    bool isAuthenticationInFront();
    // Shows the picker; false when the approval ran out first and the invocation ended.
    bool choose(const Invocation& invocation, const InvocationSession& session,
                InvocationCatalogProvider::Snapshot snapshot);
    void select(Uuid invocationID, Uuid entryID, PasswordAction action);
    void cancel(Uuid invocationID);
    void finish();
    void fail(std::exception_ptr error);
    void scheduleExpiry(Uuid invocationID, Duration after);
    void applicationActivated(std::optional<std::int32_t> processIdentifier,
                              const std::optional<std::string>& bundleIdentifier);
    bool isIgnoredActivation(const Invocation& invocation,
                             std::optional<std::int32_t> processIdentifier,
                             const std::optional<std::string>& bundleIdentifier);
    // The invocation of any state but idle.
    const Invocation* current() const;

    Executor& executor_;
    std::shared_ptr<SecurePasswordService> securePasswords_;
    std::shared_ptr<InvocationCatalogProvider> catalog_;
    std::shared_ptr<PasswordPicker> picker_;
    InputInjector& injector_;
    PasswordClipboard& clipboard_;
    ApplicationWorkspace& workspace_;
    ApplicationActivations& activations_;
    AlertPresenting& alerts_;
    std::function<std::shared_ptr<CapturedInsertionTarget>()> captureTarget_;
    const PlatformTraits traits_;
    State state_;
    // Advances with every change of state, so a token names one invocation in one phase.
    Generation states_;
    TaskHandle operationTask_;
    TaskHandle expiryTask_;
    Subscription activationObserver_;
    std::function<void()> onConfigure_;
};

} // namespace kestrelle
