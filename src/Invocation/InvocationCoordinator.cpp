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

const Logger logger{"Invocation"};

// Discards an invocation's approval when the operation holding it ends, on every path, unless
// the approval was handed on or spent.
class ApprovalGuard {
public:
    ApprovalGuard(std::shared_ptr<SecurePasswordService> service, Uuid invocationID)
        : service_(std::move(service)), invocationID_(invocationID) {}
    ApprovalGuard(const ApprovalGuard&) = delete;
    ApprovalGuard& operator=(const ApprovalGuard&) = delete;
    ~ApprovalGuard() {
        if (service_) {
            service_->cancelInvocation(invocationID_);
        }
    }
    void release() { service_.reset(); }

private:
    std::shared_ptr<SecurePasswordService> service_;
    Uuid invocationID_;
};

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
      captureTarget_(std::move(dependencies.captureTarget)), traits_(dependencies.traits) {}

InvocationCoordinator::~InvocationCoordinator() {
    operationTask_.cancel();
    expiryTask_.cancel();
}

std::shared_ptr<InvocationCoordinator>
InvocationCoordinator::current(const std::weak_ptr<InvocationCoordinator>& weak,
                               Generation::Token token) {
    auto self = weak.lock();
    return self && self->states_.isCurrent(token) ? self : nullptr;
}

std::shared_ptr<InvocationCoordinator>
InvocationCoordinator::reacquire(const std::weak_ptr<InvocationCoordinator>& weak,
                                 Generation::Token token) {
    if (auto self = current(weak, token)) {
        return self;
    }
    throw CancelledError{};
}

Generation::Token InvocationCoordinator::enter(State state) {
    state_ = std::move(state);
    return states_.advance();
}

Task<void> InvocationCoordinator::run(std::weak_ptr<InvocationCoordinator> weak,
                                      Generation::Token token, Task<void> operation) {
    std::exception_ptr failure;
    try {
        co_await std::move(operation);
    } catch (...) {
        failure = std::current_exception();
    }
    if (failure) {
        if (const auto self = current(weak, token)) {
            self->fail(failure);
        }
    }
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
    const auto captureStarted = executor_.monotonicNow();
    auto target = captureTarget_ ? captureTarget_() : nullptr;
    const auto captureTime = executor_.monotonicNow() - captureStarted;
    auto id = Uuid::random();
    // Read by scripts/bench-linux.
    logger.info("Invocation {} capture took {} us", id,
                std::chrono::duration_cast<std::chrono::microseconds>(captureTime).count());
    Invocation invocation{id, std::move(target), workspace_.frontmostApplication()};

    logger.notice("Invocation {} authenticating; target: {}", invocation.id,
                  invocation.target != nullptr);
    const auto token = enter(Authenticating{invocation});
    const auto weak = weak_from_this();
    operationTask_ =
        spawn(executor_, run(weak, token, authenticate(weak, std::move(invocation), token)));
}

Task<void> InvocationCoordinator::authenticate(std::weak_ptr<InvocationCoordinator> weak,
                                               Invocation invocation, Generation::Token token) {
    const auto [securePasswords, catalog] = reacquire(weak, token)->services();
    ApprovalGuard approval(securePasswords, invocation.id);
    if (!invocation.target) {
        invocation.target = co_await recapture(weak, token);
    }
    const auto session = co_await securePasswords->beginInvocation(invocation.id);
    logger.notice("Invocation {} authenticated", invocation.id);
    auto snapshot = co_await catalog->snapshot();
    if (invocation.target) {
        // The prompt took the keyboard focus; look again only once it has gone.
        co_await waitForTarget(weak, invocation, token);
    }
    if (reacquire(weak, token)->choose(invocation, session, std::move(snapshot))) {
        approval.release(); // the picker's state holds it now
    }
}

Task<void> InvocationCoordinator::waitForTarget(std::weak_ptr<InvocationCoordinator> weak,
                                                Invocation invocation, Generation::Token token) {
    int authenticationInterfaceUsed = 0;
    int otherApplicationUsed = 0;
    for (;;) {
        {
            const auto self = reacquire(weak, token);
            const auto error = invocation.target->validationError();
            if (!error) {
                co_return;
            }
            if (error->kind() != InputInjectionError::Kind::targetChanged) {
                throw *error;
            }
            const bool prompt = self->isAuthenticationInFront();
            int& used = prompt ? authenticationInterfaceUsed : otherApplicationUsed;
            if (used == (prompt ? authenticationInterfaceWaits : otherApplicationWaits)) {
                throw *error;
            }
            if (authenticationInterfaceUsed + otherApplicationUsed == 0) {
                logger.notice("Invocation {} awaiting the original target after the prompt",
                              invocation.id);
            }
            ++used;
        }
        co_await sleepFor(targetPollInterval);
    }
}

Task<std::shared_ptr<CapturedInsertionTarget>>
InvocationCoordinator::recapture(std::weak_ptr<InvocationCoordinator> weak,
                                 Generation::Token token) {
    const auto period = reacquire(weak, token)->traits_.captureRetryPeriod;
    Duration delay = firstRecaptureDelay;
    for (auto waited = delay; waited <= period; delay = retryInterval, waited += delay) {
        co_await sleepFor(delay);
        const auto self = reacquire(weak, token);
        if (auto target = self->captureTarget_ ? self->captureTarget_() : nullptr) {
            logger.notice("Target captured after {} ms",
                          std::chrono::duration_cast<std::chrono::milliseconds>(waited).count());
            // Later activations are judged against it too.
            std::get<Authenticating>(self->state_).invocation.target = target;
            co_return target;
        }
    }
    co_return nullptr;
}

Task<void>
InvocationCoordinator::awaitFocusedTarget(std::weak_ptr<InvocationCoordinator> weak,
                                          std::shared_ptr<CapturedInsertionTarget> target,
                                          Generation::Token token) {
    const auto period = reacquire(weak, token)->traits_.refocusPeriod;
    for (auto waited = Duration::zero();; waited += retryInterval) {
        const auto error = target->validationError();
        if (!error) {
            co_return;
        }
        if (error->kind() != InputInjectionError::Kind::targetChanged || waited >= period) {
            throw *error;
        }
        co_await sleepFor(retryInterval);
        reacquire(weak, token);
    }
}

bool InvocationCoordinator::isAuthenticationInFront() {
    // The prompt's own windows, or this app, may hold the focus a little longer than another
    // application that took it; nobody in front counts as another application.
    const auto frontmost = workspace_.frontmostApplication();
    return frontmost && (frontmost->processIdentifier == workspace_.currentProcessIdentifier() ||
                         isAuthenticationUserInterface(frontmost->bundleIdentifier));
}

bool InvocationCoordinator::choose(const Invocation& invocation, const InvocationSession& session,
                                   InvocationCatalogProvider::Snapshot snapshot) {
    const auto remaining = session.expiresAt - executor_.now();
    if (remaining <= WallTime::duration::zero()) {
        finish(); // the approval ran out during the wait: end quietly
        return false;
    }
    auto entries = snapshot.entries;
    enter(Choosing{invocation, session, std::move(snapshot)});
    picker_->show(invocation.id, std::move(entries), invocation.target != nullptr);
    logger.notice("Invocation {} choosing; picker displayed", invocation.id);
    scheduleExpiry(invocation.id, std::chrono::duration_cast<Duration>(remaining));
    return true;
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
    const auto token = enter(Inserting{invocation});
    logger.notice("Invocation {} selection received", invocationID);
    // The expiry timer keeps running: an approval that ends during typing stops it.
    const auto weak = weak_from_this();
    operationTask_ = spawn(executor_, run(weak, token,
                                          deliver(weak, std::move(invocation), session,
                                                  std::move(snapshot), entryID, action, token)));
}

Task<void> InvocationCoordinator::deliver(std::weak_ptr<InvocationCoordinator> weak,
                                          Invocation invocation, InvocationSession session,
                                          InvocationCatalogProvider::Snapshot snapshot,
                                          Uuid entryID, PasswordAction action,
                                          Generation::Token token) {
    const bool typing = action == PasswordAction::type && invocation.target != nullptr;
    const auto requireTarget = [&] {
        if (auto error = invocation.target->validationError()) {
            throw *error;
        }
    };
    const auto [securePasswords, catalog] = reacquire(weak, token)->services();
    {
        ApprovalGuard approval(securePasswords, invocation.id);
        if (typing) {
            logger.notice("Checking original target");
            co_await awaitFocusedTarget(weak, invocation.target, token);
        }
        const bool eligible = co_await catalog->remainsEligible(entryID, snapshot);
        if (!eligible) {
            // Deleted in Settings while the picker was open: end quietly.
            reacquire(weak, token)->finish();
            co_return;
        }
        reacquire(weak, token); // no Keychain read for an invocation that ended meanwhile
        if (typing) {
            requireTarget(); // the catalog read took time
        }
        // The secret is wiped when `consumed` goes, on every path.
        const auto consumed =
            co_await securePasswords->consumeSelectedEntry(session, entryID, action);
        approval.release(); // spent
        if (typing) {
            auto& injector = reacquire(weak, token)->injector_;
            const InputInjector::StillWanted stillWanted = [weak, token] {
                return current(weak, token) != nullptr;
            };
            co_await injector.insert(*consumed.secret, invocation.target, stillWanted);
            logger.notice("Insertion completed");
        } else {
            reacquire(weak, token)->clipboard_.copy(*consumed.secret);
            logger.notice("Copied to clipboard");
        }
    }
    reacquire(weak, token)->finish();
}

// Ending

void InvocationCoordinator::cancel() {
    const auto* invocation = current();
    const std::optional<Uuid> id = invocation ? std::optional(invocation->id) : std::nullopt;
    enter(Idle{});
    std::exchange(operationTask_, {}).cancel();
    std::exchange(expiryTask_, {}).cancel();
    picker_->dismiss(true);
    if (id) {
        securePasswords_->cancelInvocation(*id);
    }
}

void InvocationCoordinator::cancel(Uuid invocationID) {
    if (const auto* invocation = current(); invocation && invocation->id == invocationID) {
        cancel();
    }
}

void InvocationCoordinator::cancelAll() {
    cancel();
    securePasswords_->cancelAll();
}

void InvocationCoordinator::finish() {
    enter(Idle{});
    operationTask_ = {}; // finish runs inside it
    std::exchange(expiryTask_, {}).cancel();
}

void InvocationCoordinator::fail(std::exception_ptr error) {
    std::string message;
    try {
        std::rethrow_exception(error);
    } catch (const CancelledError&) {
    } catch (const BiometricAuthenticationError& failure) {
        // The user dismissed the prompt: nothing to say.
        if (failure.kind() != BiometricAuthenticationError::Kind::cancelled) {
            message = failure.description();
        }
    } catch (const InputInjectionError& failure) {
        logger.notice("Invocation rejected: {}", PublicText(failure.name()));
        message = failure.description();
    } catch (const KestrelleError& failure) {
        message = failure.description();
    } catch (...) {
        message = "Kestrelle could not complete the password request.";
    }
    // Ended before the alert: nothing of the invocation waits for the user's answer.
    finish();
    if (!message.empty()) {
        alerts_.present(AlertContent{std::string(alertTitle), std::move(message)});
    }
}

// Application switches

bool InvocationCoordinator::isAuthenticationUserInterface(
    const std::optional<std::string>& bundleIdentifier) {
    if (!bundleIdentifier) {
        return false;
    }
    const auto lower = lowercased(*bundleIdentifier);
    // The desktop's polkit agent asks for the account password on Linux.
    return lower.find("coreauth") != std::string::npos ||
           lower.find("localauthentication") != std::string::npos ||
           lower == "com.apple.securityagent" || lower.find("polkit") != std::string::npos;
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
    logger.notice(authenticating ? "Invocation {} cancelled: {} (pid {}) activated while "
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

} // namespace kestrelle
