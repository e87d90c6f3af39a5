#include "Invocation/InvocationCoordinator.h"

#include "Runtime/Cancellation.h"
#include "Runtime/Check.h"
#include "Security/BiometricAuthenticationError.h"

#include <algorithm>
#include <cctype>

namespace kestrelle {

namespace {

std::string lowercased(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

} // namespace

std::shared_ptr<InvocationCoordinator> InvocationCoordinator::create(Dependencies dependencies) {
    auto coordinator =
        std::make_shared<InvocationCoordinator>(ConstructionKey{}, std::move(dependencies));
    std::weak_ptr<InvocationCoordinator> weak = coordinator;
    coordinator->picker_->setOnSelection(
        [weak](Uuid invocationID, Uuid entryID, PasswordAction action) {
            if (auto self = weak.lock()) {
                self->select(invocationID, entryID, action);
            }
        });
    coordinator->picker_->setOnDismiss([weak](Uuid invocationID) {
        if (auto self = weak.lock()) {
            self->cancel(invocationID);
        }
    });
    coordinator->picker_->setOnConfigure([weak] {
        if (auto self = weak.lock()) {
            self->cancel();
            if (self->onConfigure_) {
                self->onConfigure_();
            }
        }
    });
    coordinator->activationObserver_ =
        coordinator->activations_.observe([weak](std::optional<std::int32_t> processIdentifier,
                                                 std::optional<std::string> bundleIdentifier) {
            if (auto self = weak.lock()) {
                self->applicationActivated(processIdentifier, bundleIdentifier);
            }
        });
    return coordinator;
}

InvocationCoordinator::InvocationCoordinator(ConstructionKey, Dependencies dependencies)
    : executor_(dependencies.executor), securePasswords_(std::move(dependencies.securePasswords)),
      catalog_(std::make_shared<InvocationCatalogProvider>(dependencies.repository)),
      picker_(std::move(dependencies.picker)), injector_(dependencies.injector),
      clipboard_(dependencies.clipboard), workspace_(dependencies.workspace),
      activations_(dependencies.activations), alerts_(dependencies.alerts),
      captureTarget_(std::move(dependencies.captureTarget)) {}

InvocationCoordinator::~InvocationCoordinator() {
    operationTask_.cancel();
    expiryTask_.cancel();
}

std::optional<InvocationCoordinator::Services>
InvocationCoordinator::servicesOf(const std::weak_ptr<InvocationCoordinator>& weak) {
    if (auto self = weak.lock()) {
        return Services{self->securePasswords_, self->catalog_};
    }
    return std::nullopt;
}

// Pressing the shortcut

void InvocationCoordinator::begin() {
    if (picker_->isVisible()) {
        cancel();
        return;
    }
    if (!std::holds_alternative<Idle>(state_)) {
        return; // a prompt or a delivery is under way
    }
    // All three before anything suspends, while the application the user typed in is in front.
    auto target = captureTarget_ ? captureTarget_() : nullptr;
    auto id = Uuid::random();
    Invocation invocation{id, std::move(target), workspace_.frontmostApplication()};

    logger_.notice("Invocation {} authenticating; target: {}", invocation.id,
                   invocation.target != nullptr);
    state_ = Authenticating{invocation};
    operationTask_ = spawn(executor_, authenticate(weak_from_this(), std::move(invocation)));
}

Task<void> InvocationCoordinator::authenticate(std::weak_ptr<InvocationCoordinator> weak,
                                               Invocation invocation) {
    const auto id = invocation.id;
    const auto services = servicesOf(weak);
    if (!services) {
        co_return;
    }
    const auto& [securePasswords, catalog] = *services;

    std::exception_ptr failure;
    try {
        const auto session = co_await securePasswords->beginInvocation(id);
        if (auto self = weak.lock()) {
            self->logger_.notice("Invocation {} authenticated", id);
        }
        auto snapshot = co_await catalog->snapshot();
        auto self = weak.lock();
        if (!self) {
            securePasswords->cancelInvocation(id);
            co_return;
        }
        if (!self->isIn<Authenticating>(id)) {
            securePasswords->cancelInvocation(id);
            self->finish(id);
            co_return;
        }
        self.reset(); // not owned across the wait
        if (invocation.target) {
            // The prompt took the keyboard focus; look again only once it has gone.
            co_await waitForTargetAfterAuthentication(weak, invocation);
        }
        self = weak.lock();
        if (!self) {
            securePasswords->cancelInvocation(id);
            co_return;
        }
        const auto remaining = session.expiresAt - self->executor_.now();
        if (remaining <= WallTime::duration::zero()) {
            securePasswords->cancelInvocation(id);
            self->finish(id);
            co_return;
        }
        const bool canType = invocation.target != nullptr;
        self->state_ = Choosing{invocation, session, snapshot};
        self->picker_->show(id, std::move(snapshot.entries), canType);
        self->logger_.notice("Invocation {} choosing; picker displayed", id);
        self->scheduleExpiry(id, std::chrono::duration_cast<Duration>(remaining));
    } catch (...) {
        failure = std::current_exception();
    }
    if (failure) {
        securePasswords->cancelInvocation(id);
        if (auto self = weak.lock()) {
            self->report(failure, id);
            self->finish(id);
        }
    }
}

Task<void>
InvocationCoordinator::waitForTargetAfterAuthentication(std::weak_ptr<InvocationCoordinator> weak,
                                                        Invocation invocation) {
    int authenticationInterfaceUsed = 0;
    int otherApplicationUsed = 0;
    for (bool first = true;; first = false) {
        co_await checkCancellation();
        auto self = weak.lock();
        if (!self || !self->isIn<Authenticating>(invocation.id)) {
            throw CancelledError{};
        }
        const auto error = invocation.target->validationError();
        if (!error) {
            co_return;
        }
        if (error->kind() != InputInjectionError::Kind::targetChanged) {
            throw *error;
        }
        // The prompt's own windows, or this app, may hold the focus a little longer than another
        // application that took it.
        const auto frontmost = self->workspace_.frontmostApplication();
        const bool isPrompt =
            frontmost &&
            (frontmost->processIdentifier == self->workspace_.currentProcessIdentifier() ||
             isAuthenticationUserInterface(frontmost->bundleIdentifier));
        int& used = isPrompt ? authenticationInterfaceUsed : otherApplicationUsed;
        if (used == (isPrompt ? authenticationInterfaceWaits : otherApplicationWaits)) {
            throw *error;
        }
        ++used;
        if (first) {
            self->logger_.notice("Invocation {} awaiting the original target after the prompt",
                                 invocation.id);
        }
        self.reset();
        co_await sleepFor(targetPollInterval);
    }
}

void InvocationCoordinator::scheduleExpiry(Uuid invocationID, Duration after) {
    // The caller checked the approval is still young: anything else is a broken clock sum.
    KESTRELLE_CHECK(after > Duration::zero(), "Invocation expiry in the past");
    expiryTask_.cancel();
    expiryTask_ = spawn(executor_, expire(weak_from_this(), invocationID, after));
}

Task<void> InvocationCoordinator::expire(std::weak_ptr<InvocationCoordinator> weak,
                                         Uuid invocationID, Duration after) {
    co_await sleepFor(after);
    if (auto self = weak.lock()) {
        self->cancel(invocationID);
    }
}

// Choosing and delivering

void InvocationCoordinator::select(Uuid invocationID, Uuid entryID, PasswordAction action) {
    auto* choosing = std::get_if<Choosing>(&state_);
    if (!choosing || choosing->invocation.id != invocationID) {
        return;
    }
    auto invocation = choosing->invocation;
    auto session = choosing->session;
    auto snapshot = std::move(choosing->snapshot);
    state_ = Inserting{invocation};
    logger_.notice("Invocation {} selection received", invocationID);
    // The expiry timer keeps running: an approval that ends during typing stops it.
    operationTask_ = spawn(executor_, deliver(weak_from_this(), std::move(invocation), session,
                                              std::move(snapshot), entryID, action));
}

Task<void> InvocationCoordinator::deliver(std::weak_ptr<InvocationCoordinator> weak,
                                          Invocation invocation, InvocationSession session,
                                          InvocationCatalogProvider::Snapshot snapshot,
                                          Uuid entryID, PasswordAction action) {
    const auto id = invocation.id;
    const bool typing = action == PasswordAction::type && invocation.target != nullptr;
    const auto services = servicesOf(weak);
    if (!services) {
        co_return;
    }
    const auto& [securePasswords, catalog] = *services;
    const auto requireTarget = [&] {
        if (auto error = invocation.target->validationError()) {
            throw *error;
        }
    };

    std::shared_ptr<TransientSecret> secret;
    std::exception_ptr failure;
    try {
        if (typing) {
            if (auto self = weak.lock()) {
                self->logger_.notice("Checking original target");
            }
            requireTarget();
        }
        const bool eligible = co_await catalog->remainsEligible(entryID, snapshot);
        if (!eligible) {
            // Deleted in Settings while the picker was open: end quietly.
            securePasswords->cancelInvocation(id);
            if (auto self = weak.lock()) {
                self->finish(id);
            }
            co_return;
        }
        if (typing) {
            requireTarget(); // the catalog read took time
        }
        auto consumed = co_await securePasswords->consumeSelectedEntry(session, entryID, action);
        secret = consumed.secret;
        auto self = weak.lock();
        if (!self || !self->isIn<Inserting>(id)) {
            secret->clear(); // cancelled meanwhile: nothing is typed or copied
            co_return;
        }
        if (typing) {
            auto& injector = self->injector_;
            self.reset();
            co_await injector.insert(*secret, invocation.target);
            self = weak.lock();
            if (self) {
                self->logger_.notice("Insertion completed");
            }
        } else {
            self->clipboard_.copy(*secret);
            self->logger_.notice("Copied to clipboard");
        }
        secret->clear();
        if (self) {
            self->finish(id);
        }
    } catch (...) {
        failure = std::current_exception();
    }
    if (failure) {
        if (secret) {
            secret->clear();
        }
        securePasswords->cancelInvocation(id);
        if (auto self = weak.lock()) {
            self->report(failure, id);
            self->finish(id);
        }
    }
}

// Ending

void InvocationCoordinator::cancel() {
    const auto* invocation = current();
    const std::optional<Uuid> id = invocation ? std::optional(invocation->id) : std::nullopt;
    state_ = Idle{};
    std::exchange(operationTask_, {}).cancel();
    std::exchange(expiryTask_, {}).cancel();
    picker_->dismiss(true);
    injector_.setGeneration(Uuid::random());
    if (id) {
        securePasswords_->cancelInvocation(*id);
    }
}

void InvocationCoordinator::cancel(Uuid invocationID) {
    if (isCurrent(invocationID)) {
        cancel();
    }
}

void InvocationCoordinator::cancelAll() {
    cancel();
    securePasswords_->cancelAll();
}

void InvocationCoordinator::finish(Uuid invocationID) {
    if (!isCurrent(invocationID)) {
        return;
    }
    state_ = Idle{};
    operationTask_ = {}; // finish runs inside it
    std::exchange(expiryTask_, {}).cancel();
    injector_.setGeneration(Uuid::random());
}

void InvocationCoordinator::report(std::exception_ptr error, Uuid invocationID) {
    if (!isCurrent(invocationID)) {
        return;
    }
    std::string message;
    try {
        std::rethrow_exception(error);
    } catch (const CancelledError&) {
        return;
    } catch (const BiometricAuthenticationError& failure) {
        if (failure.kind() == BiometricAuthenticationError::Kind::cancelled) {
            return; // the user dismissed the prompt
        }
        message = failure.description();
    } catch (const InputInjectionError& failure) {
        logger_.notice("Invocation rejected: {}", PublicText(failure.name()));
        message = failure.description();
    } catch (const KestrelleError& failure) {
        message = failure.description();
    } catch (...) {
        message = "Kestrelle could not complete the password request.";
    }
    alerts_.present(AlertContent{std::string(alertTitle), std::move(message)});
}

// Application switches

bool InvocationCoordinator::isAuthenticationUserInterface(
    const std::optional<std::string>& bundleIdentifier) {
    if (!bundleIdentifier) {
        return false;
    }
    const auto lower = lowercased(*bundleIdentifier);
    return lower.find("coreauth") != std::string::npos ||
           lower.find("localauthentication") != std::string::npos ||
           lower == "com.apple.securityagent";
}

bool InvocationCoordinator::isIgnoredActivation(
    const Invocation& invocation, std::optional<std::int32_t> processIdentifier,
    const std::optional<std::string>& bundleIdentifier) {
    if (processIdentifier) {
        if (*processIdentifier == workspace_.currentProcessIdentifier() ||
            *processIdentifier == invocation.target->processIdentifier() ||
            (invocation.origin && *processIdentifier == invocation.origin->processIdentifier)) {
            return true;
        }
    }
    return isAuthenticationUserInterface(bundleIdentifier);
}

void InvocationCoordinator::applicationActivated(
    std::optional<std::int32_t> processIdentifier,
    const std::optional<std::string>& bundleIdentifier) {
    const auto* invocation = current();
    // A copy-only invocation survives application switches on purpose.
    if (!invocation || !invocation->target) {
        return;
    }
    if (std::holds_alternative<Inserting>(state_)) {
        invocation->target->recordApplicationActivation(processIdentifier);
        return;
    }
    if (isIgnoredActivation(*invocation, processIdentifier, bundleIdentifier)) {
        return;
    }
    const bool authenticating = std::holds_alternative<Authenticating>(state_);
    if (authenticating) {
        invocation->target->recordApplicationActivation(processIdentifier);
    }
    logger_.notice(authenticating ? "Invocation {} cancelled: {} (pid {}) activated while "
                                    "authenticating; origin pid {}"
                                  : "Invocation {} cancelled: {} (pid {}) activated while "
                                    "choosing; origin pid {}",
                   invocation->id, PublicText(bundleIdentifier.value_or("unknown")),
                   processIdentifier.value_or(-1),
                   invocation->origin ? invocation->origin->processIdentifier : -1);
    cancel();
}

const InvocationCoordinator::Invocation* InvocationCoordinator::current() const {
    return std::visit(
        [](const auto& state) -> const Invocation* {
            if constexpr (std::is_same_v<std::decay_t<decltype(state)>, Idle>) {
                return nullptr;
            } else {
                return &state.invocation;
            }
        },
        state_);
}

bool InvocationCoordinator::isCurrent(const Uuid& invocationID) const {
    const auto* invocation = current();
    return invocation && invocation->id == invocationID;
}

} // namespace kestrelle
