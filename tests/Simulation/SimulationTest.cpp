// A randomized, seeded simulation of the whole app on its real services (approvals, operation
// gate, Keychain store, catalog file, invocation coordinator, picker, injector, clipboard,
// password settings service, Settings model), with fakes at the platform seams only, in virtual
// time. Each run takes random steps: shortcut presses, prompt approvals and failures, picks,
// focus changes, application switches, screen locks, Settings changes, slow or failing Keychain
// calls, time passing. The invariants are checked after every step, and those about delivery at
// the moment something is typed or copied.
//
//   KESTRELLE_SIMULATION_SEEDS=N  runs seeds 1 to N instead of the default count (long runs);
//   KESTRELLE_SIMULATION_SEED=S   runs seed S alone, to replay the failure that names it.
#include "Runtime/Utf8.h"
#include "Simulation/FreedMemoryWatch.h"
#include "Storage/EntryCatalogJson.h"
#include "Storage/EntryRepository.h"
#include "Support/DelayedQueue.h"
#include "Support/FakePlatform.h"
#include "Support/LogCapture.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <numeric>
#include <random>

namespace kestrelle {
namespace {

using namespace std::chrono_literals;
using Phase = InvocationCoordinator::Phase;
using test::FakeAccessibility;

constexpr std::uint64_t defaultSeedCount = 300;
constexpr int stepsPerSeed = 80;
constexpr std::int32_t ownPid = 1;
constexpr std::string_view promptBundle = "com.apple.CoreAuthUI";

std::string_view text(const SecretBytes& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

WipingVector<char16_t> utf16(std::string_view utf8) {
    WipingVector<char16_t> units;
    forEachUtf8Scalar(std::span(reinterpret_cast<const std::uint8_t*>(utf8.data()), utf8.size()),
                      [&](char32_t scalar, std::size_t, std::size_t) {
                          if (scalar >= 0x10000) {
                              units.push_back(char16_t(0xD800 + ((scalar - 0x10000) >> 10)));
                              scalar = 0xDC00 + (scalar & 0x3FF);
                          }
                          units.push_back(char16_t(scalar));
                      });
    return units;
}

class Simulation {
public:
    Simulation(std::uint64_t seed, test::FreedMemoryWatch& watch)
        : seed_(seed), random_(seed), watch_(watch) {
        // Two applications with text fields (the editor's also has a button), one without.
        const auto add = [this](std::int32_t pid, std::string bundle,
                                std::vector<test::FakeNode> elements) {
            const auto node = fakes_.accessibility.addApplication(pid, elements);
            FakeAccessibility::focus(node, elements.front());
            apps_.push_back({pid, std::move(bundle), std::move(elements), node});
        };
        const auto field = [] { return FakeAccessibility::textField(); };
        add(42, "com.example.editor", {field(), field(), FakeAccessibility::node("AXButton")});
        add(77, "com.example.browser", {field(), FakeAccessibility::node("AXLink")});
        add(88, "com.example.viewer", {FakeAccessibility::node("AXStaticText")});
        fakes_.workspace.currentPid = ownPid;
        fakes_.workspace.frontmost = FrontmostApplication{42, apps_[0].bundle};
        fakes_.biometrics.outcome = test::FakePromptOutcome::hold;
        fakes_.keyboard.afterPost = [this](const auto& event) { checkTyped(event); };
        fakes_.pasteboard.afterSetString = [this](std::string_view copied) { checkCopied(copied); };
        saveInitialEntries();
        app_ = AppCoordinator::create(fakes_.platform);
        app_->settings().setBiometricReuseWindow(allBiometricReuseWindows[pick(7)]);
        app_->start();
        start_ = executor_.monotonicNow();
    }

    // False once an invariant broke; the failure names the seed and lists the steps.
    bool run() {
        using Step = void (Simulation::*)();
        for (int step = 0; step < stepsPerSeed && !failed_; ++step) {
            // What the user can do depends on what is on screen. A chosen password is mostly let
            // through to typing, and then the focus and the frontmost application change often.
            const std::uint64_t prompt = promptUp() ? 30 : 0;
            const std::uint64_t picker = fakes_.panel->isVisible() ? 33 : 0;
            const std::uint64_t typing = typingStarted() ? 3 : 1;
            const std::uint64_t waiting = phase() == Phase::inserting && !typingStarted() ? 3 : 1;
            const std::pair<std::uint64_t, Step> steps[] = {
                {10, &Simulation::pressShortcut},     {prompt, &Simulation::answerPrompt},
                {picker, &Simulation::choose},        {5 * typing, &Simulation::moveFocus},
                {6 * typing, &Simulation::activate},  {2, &Simulation::lockScreen},
                {10, &Simulation::changeSettings},    {1, &Simulation::failKeychainCall},
                {25 * waiting, &Simulation::passTime}};
            auto roll =
                pick(std::accumulate(std::begin(steps), std::end(steps), std::uint64_t{0},
                                     [](auto sum, const auto& step) { return sum + step.first; }));
            for (const auto& [weight, step] : steps) {
                if (roll < weight) {
                    (this->*step)();
                    break;
                }
                roll -= weight;
            }
            checkInvariants();
        }
        settle();
        return !failed_;
    }

private:
    // An application the user can switch to, and the elements that can hold its focus.
    struct App {
        std::int32_t pid;
        std::string bundle;
        std::vector<test::FakeNode> elements;
        test::FakeNode node;
    };
    // The field the current invocation captured, as the simulation expects it.
    struct Capture {
        std::int32_t pid;
        std::size_t app;
        test::FakeNode field;
        bool focusLeft = false;
    };
    struct Pick {
        bool copy;
        // The chosen entry's password when it was chosen; none when it has none.
        std::optional<WipingVector<char16_t>> password;
        std::size_t typed = 0;
    };

    // The generator's own output, not a library distribution, so that a seed replays the same
    // with every standard library.
    std::uint64_t pick(std::uint64_t count) { return random_() % count; }
    Phase phase() { return app_->invocationCoordinator().phase(); }
    bool typingStarted() { return pick_ && pick_->typed > 0 && phase() == Phase::inserting; }
    bool settingsOpen() const { return fakes_.windows.last && fakes_.windows.last->visible; }
    void run(const std::string& step) {
        const auto at =
            std::chrono::floor<std::chrono::milliseconds>(executor_.monotonicNow() - start_);
        trace_.push_back(std::to_string(at.count()) + " ms: " + step);
        executor_.runUntilIdle();
    }

    std::string newLabel() { return "Entry " + std::to_string(++labels_); }

    // Printable ASCII with some wider characters, often long enough for several key presses.
    const SecretBytes& newPassword() {
        static constexpr std::string_view ascii =
            "abcdefghijkmnopqrstuvwxyzABCDEFGHJKLMNPQRSTUVWXYZ23456789 !#$%&*+-=?@^_~";
        static constexpr std::string_view wide[] = {"é", "ß", "€", "中", "🔑"};
        SecretBytes bytes;
        for (auto length = 8 + pick(120); length > 0; --length) {
            const auto piece = pick(8) == 0 ? wide[pick(5)] : ascii.substr(pick(ascii.size()), 1);
            bytes.insert(bytes.end(), piece.begin(), piece.end());
        }
        const auto units = utf16(text(bytes));
        watch_.watch(bytes);
        watch_.watch({reinterpret_cast<const std::uint8_t*>(units.data()), units.size() * 2});
        return passwords_.emplace_back(std::move(bytes));
    }

    void saveInitialEntries() {
        EntryCatalog catalog;
        for (auto count = pick(6); count > 0; --count) {
            const auto id = Uuid::random();
            catalog.orderedEntries.emplace_back(id, newLabel());
            // Now and then the password is missing, as after a failed repair.
            if (pick(8) != 0) {
                fakes_.keychain.items[{service_, id.toString()}] = {newPassword(), std::nullopt};
            }
        }
        test::TemporaryDirectory::write(catalogFile_, encodeEntryCatalog(catalog));
    }

    // The password of the entry shown as `label`, as the Keychain holds it now.
    std::optional<WipingVector<char16_t>> passwordOf(const std::string& label) {
        for (const auto& entry :
             decodeEntryCatalog(test::TemporaryDirectory::read(catalogFile_)).orderedEntries) {
            const auto item = fakes_.keychain.items.find({service_, entry.id().toString()});
            if (entry.label == label && item != fakes_.keychain.items.end()) {
                return utf16(text(item->second.value));
            }
        }
        return std::nullopt;
    }

    test::FakeBiometricContext* promptUp() {
        for (const auto& context : fakes_.biometrics.made) {
            if (context->isPromptUp()) {
                return context.get();
            }
        }
        return nullptr;
    }

    // Steps

    void pressShortcut() {
        const auto& front = fakes_.workspace.frontmost;
        std::string step = "press";
        if (fakes_.panel->isVisible()) {
            cancelled_ = true;
            step += ": closes the picker";
        } else if (phase() == Phase::idle) {
            pick_.reset();
            capture_.reset();
            cancelled_ = typingStopped_ = false;
            for (const auto& app : apps_) {
                const auto focused = app.node->focusedElement.lock();
                if (front && front->processIdentifier == app.pid &&
                    focused->role == AccessibilityValue{std::string("AXTextField")}) {
                    capture_ = Capture{app.pid, std::size_t(&app - apps_.data()), focused};
                }
            }
            step +=
                capture_ ? " in a field of pid " + std::to_string(capture_->pid) : " with no field";
        }
        fakes_.hotKeys.press(HotkeyManager::hotKeyId);
        run(step);
    }

    void answerPrompt() {
        static constexpr BiometricErrorCode failures[] = {
            BiometricErrorCode::userCancel, BiometricErrorCode::authenticationFailed,
            BiometricErrorCode::systemCancel, BiometricErrorCode::biometryLockout};
        auto& prompt = *promptUp();
        const auto reason = "\"" + prompt.reasons.back() + "\"";
        if (pick(4) != 0) {
            prompt.approvePrompt();
            return run("approve " + reason);
        }
        const auto code = failures[pick(4)];
        prompt.failPrompt(code);
        run("fail " + reason + " with " + std::to_string(static_cast<int>(code)));
    }

    void choose() {
        const auto content = fakes_.panel->content;
        const auto way = pick(5);
        if (way == 4 || content->rows().empty()) {
            cancelled_ = true;
            fakes_.panel->press({53, "\x1b", 0});
            return run("Escape");
        }
        const auto index = pick(std::min<std::size_t>(content->rows().size(), 9));
        const bool command = way == 2 || (way == 3 && pick(2) == 0);
        pick_ = Pick{command || !content->canType(), passwordOf(content->rows()[index].toolTip)};
        // Now and then the shortcut's modifiers are held for too long.
        auto& keyboard = fakes_.keyboard;
        keyboard.heldChecks = keyboard.modifierChecks + int(pick(10) == 0 ? 25 : pick(3));
        const auto modifiers = command ? modifier::command : 0;
        if (way == 3) {
            content->clickRow(int(index), modifiers);
        } else {
            static constexpr std::uint16_t digitKeys[] = {18, 19, 20, 21, 23, 22, 26, 28, 25};
            fakes_.panel->press({digitKeys[index], std::to_string(index + 1), modifiers});
        }
        run("choose row " + std::to_string(index + 1) + (pick_->copy ? " to copy" : " to type"));
    }

    void moveFocus() {
        const auto app = pick(2);
        focus(app, pick(apps_[app].elements.size()));
        // While typing, the focus often comes straight back.
        if (typingStarted() && pick(2) == 0) {
            const auto& elements = apps_[capture_->app].elements;
            focus(capture_->app,
                  std::size_t(std::find(elements.begin(), elements.end(), capture_->field) -
                              elements.begin()));
        }
    }

    void focus(std::size_t app, std::size_t element) {
        const auto& [pid, bundle, elements, node] = apps_[app];
        if (capture_ && capture_->pid == pid && elements[element] != capture_->field) {
            capture_->focusLeft = true;
        }
        FakeAccessibility::focus(node, elements[element]);
        fakes_.accessibility.postFocusChanged(pid);
        run("focus element " + std::to_string(element) + " of pid " + std::to_string(pid));
    }

    void activate() {
        // Mostly an application with a text field; while typing, often away and straight back.
        const auto choice = pick(8);
        if (choice < 5) {
            bringForward(apps_[choice % 3].pid, apps_[choice % 3].bundle);
        } else if (choice < 7) {
            bringForward(choice == 5 ? ownPid : 99,
                         std::string(choice == 5 ? fakes_.bundleIdentifier : promptBundle));
        } else {
            bringForward(std::nullopt, std::nullopt);
        }
        if (typingStarted() && pick(2) == 0) {
            bringForward(capture_->pid, apps_[capture_->app].bundle);
        }
    }

    void bringForward(std::optional<std::int32_t> pid, std::optional<std::string> bundle) {
        // Before a choice only this app, the captured field's and the prompt's may come forward;
        // while typing only the captured field's.
        if (capture_) {
            const auto current = phase();
            const bool harmless =
                (pid && (*pid == ownPid || *pid == capture_->pid)) || bundle == promptBundle;
            cancelled_ =
                cancelled_ ||
                (!harmless && (current == Phase::authenticating || current == Phase::choosing));
            typingStopped_ =
                typingStopped_ || (current == Phase::inserting && pid != capture_->pid);
        }
        fakes_.workspace.frontmost =
            pid ? std::optional(FrontmostApplication{*pid, bundle}) : std::nullopt;
        fakes_.activations.activate(pid, bundle);
        run("activate " + bundle.value_or("an unknown application"));
    }

    void lockScreen() {
        cancelled_ = true;
        fakes_.interruptions.interrupt();
        run("lock the screen");
    }

    void changeSettings() {
        auto& model = app_->settingsModel();
        const auto roll = pick(6);
        if (!settingsOpen()) {
            app_->showSettings();
            return run("open Settings");
        }
        if (roll == 0) {
            fakes_.windows.close();
            return run("close Settings");
        }
        if (roll == 1) {
            const auto window = allBiometricReuseWindows[pick(7)];
            app_->settings().setBiometricReuseWindow(window);
            return run("reuse approvals for " + std::string(title(window)));
        }
        const auto& entries = model.snapshot().entries;
        if (model.isBusy()) {
            return run("Settings busy");
        }
        if (roll == 2 || entries.empty()) {
            model.beginAdd();
            model.editorModel()->setLabel(newLabel());
            model.editorModel()->setPassword(text(newPassword()));
            model.editorModel()->submit();
            return run("add an entry");
        }
        const auto entry = entries[pick(entries.size())];
        if (roll == 3) {
            const bool replace = pick(2) == 0;
            model.beginEdit(entry);
            model.editorModel()->setLabel(newLabel());
            if (replace) {
                model.editorModel()->setPassword(text(newPassword()));
            }
            model.editorModel()->submit();
            return run("rename " + entry.label + (replace ? " and replace its password" : ""));
        }
        if (roll == 4) {
            model.requestDelete(entry);
            model.confirmDelete();
            return run("delete " + entry.label);
        }
        const auto offset = std::ptrdiff_t(pick(5)) - 2;
        model.move(entry, offset);
        run("move " + entry.label + " by " + std::to_string(offset));
    }

    void failKeychainCall() {
        static constexpr KeychainStatus failures[] = {keychainStatus::itemNotFound,
                                                      keychainStatus::interactionNotAllowed,
                                                      keychainStatus::missingEntitlement};
        const auto status = failures[pick(3)];
        fakes_.keychain.scriptStatus(status);
        run("the next Keychain call fails with " + std::to_string(status));
    }

    void passTime() {
        // Mostly short; sometimes past an approval's 30 s; rarely, and only with Settings closed
        // (whose permission poll would tick all along), past the longest reuse window. Around
        // typing, short enough to land between its key presses.
        static constexpr Duration durations[] = {1ms,   5ms,   12ms,  12ms,   25ms, 50ms,
                                                 100ms, 250ms, 600ms, 1100ms, 3s,   10s,
                                                 29s,   31s,   61s,   31min};
        const auto roll = pick(settingsOpen() ? 59 : 60);
        const auto wait = typingStarted() || (phase() == Phase::inserting && pick(2) == 0)
                              ? durations[roll % 4]
                              : durations[roll < 50   ? roll % 12
                                          : roll < 59 ? 12 + roll % 3
                                                      : 15];
        executor_.advance(wait);
        run("waited " +
            std::to_string(std::chrono::floor<std::chrono::milliseconds>(wait).count()) + " ms");
    }

    // Cancels everything, as locking the screen and closing Settings do, and lets the app come to
    // rest.
    void settle() {
        cancelled_ = true;
        fakes_.interruptions.interrupt();
        if (settingsOpen()) {
            fakes_.windows.close();
        }
        executor_.advance(2min);
        run("locked the screen, closed Settings and waited");
        checkInvariants();
        const auto& securePasswords = app_->securePasswords();
        if (!isIdle() || securePasswords.liveRecordCount() > 0 ||
            securePasswords.hasReusableCredential()) {
            violate("the app did not come to rest after everything was cancelled");
        }
    }

    // Invariants

    void checkTyped(const test::FakeKeyboardEvents::Posted& event) {
        const auto& front = fakes_.workspace.frontmost;
        if (!event.keyDown) {
            return; // ends a press already checked
        }
        if (!pick_ || !pick_->password || pick_->copy) {
            violate("typed what was not chosen to be typed");
        } else if (cancelled_ || typingStopped_ || phase() != Phase::inserting) {
            violate("typed after a cancellation or an application switch");
        } else if (!capture_ || event.processIdentifier != capture_->pid) {
            violate("typed into another process than the captured field's");
        } else if (capture_->focusLeft || capture_->field->focused != AccessibilityValue{true} ||
                   !front || front->processIdentifier != capture_->pid) {
            violate("typed after the captured field lost the focus");
        } else if (const auto& password = *pick_->password;
                   pick_->typed + event.units.size() > password.size() ||
                   !std::equal(event.units.begin(), event.units.end(),
                               password.begin() + std::ptrdiff_t(pick_->typed))) {
            violate("typed text is not the chosen password");
        } else {
            pick_->typed += event.units.size();
        }
    }

    void checkCopied(std::string_view copied) {
        if (copied.empty()) {
            return; // the concealed-content marker
        }
        if (!pick_ || !pick_->password || !pick_->copy) {
            violate("copied what was not chosen to be copied");
        } else if (cancelled_ || phase() != Phase::inserting) {
            violate("copied after a cancellation");
        } else if (utf16(copied) != *pick_->password) {
            violate("copied text is not the chosen password");
        }
        lastCopyAt_ = executor_.monotonicNow();
    }

    // No password in anything written or shown. And no Keychain refusal of an approval in what
    // the user reads: the simulation never makes the Keychain refuse one, so it is the app that
    // withdrew its own.
    void checkText(std::string_view message, std::string_view where, bool shown = true) {
        for (const auto& password : passwords_) {
            if (message.find(text(password)) != std::string_view::npos) {
                violate("a password in " + std::string(where));
            }
        }
        if (shown && message.find("-25293") != std::string_view::npos) {
            violate("a withdrawn approval surfaced as a raw Keychain failure");
        }
    }

    bool isIdle() {
        return phase() == Phase::idle && !app_->settingsModel().isBusy() &&
               keychainQueue_.pendingCount() == 0;
    }

    void checkInvariants() {
        for (const auto& record : log_.records()) {
            checkText(record.message, "a log line", false);
        }
        log_.clear();
        for (const auto& alert : fakes_.alerts.shown) {
            checkText(alert.informativeText, "an alert");
        }
        fakes_.alerts.shown.clear();
        if (const auto& error = app_->settingsModel().errorMessage()) {
            checkText(*error, "the Settings error line");
        }
        if (watch_.unwipedFrees() > 0) {
            violate("a password freed without being wiped");
        }
        const auto now = executor_.monotonicNow();
        if (lastCopyAt_ && now - *lastCopyAt_ > 60s && !fakes_.pasteboard.values.empty()) {
            violate("a copied password stayed on the pasteboard for over a minute");
        }
        // A change to entries first ends any invocation, before it asks for approval.
        const auto* prompt = promptUp();
        if (prompt && prompt->reasons.back() == settingsApprovalReason &&
            (phase() == Phase::choosing || phase() == Phase::inserting)) {
            violate("an invocation went on while a change to entries asked for approval");
        }
        if (!isIdle()) {
            idleSince_.reset();
            return;
        }
        const auto& securePasswords = app_->securePasswords();
        if (securePasswords.isGateHeld()) {
            violate("the operation gate is held while the app is idle");
        }
        if (prompt) {
            violate("a biometric prompt is up while the app is idle");
        }
        idleSince_ = idleSince_.value_or(now);
        if (now - *idleSince_ >= 31s && securePasswords.liveRecordCount() > 0) {
            violate("an approval record is alive 31 s after the app went idle");
        }
    }

    void violate(const std::string& invariant) {
        if (!std::exchange(failed_, true)) {
            std::string steps;
            for (const auto& line : trace_) {
                steps += "  " + line + "\n";
            }
            ADD_FAILURE() << invariant << " (seed " << seed_
                          << "; replay with KESTRELLE_SIMULATION_SEED=" << seed_ << ") after:\n"
                          << steps;
        }
    }

    std::uint64_t seed_;
    std::mt19937_64 random_;
    test::FreedMemoryWatch& watch_;
    test::LogCapture log_;
    test::ManualExecutor executor_;
    // Keychain calls take a random while, as on a busy system; now and then one outlasts what is
    // left of an approval.
    test::DelayedQueue keychainQueue_{
        executor_,
        [this] { return Duration(pick(10) == 0 ? 500ms + pick(2500) * 1ms : pick(40) * 1ms); }};
    test::FakePlatform fakes_{executor_, keychainQueue_};
    const std::string service_ = std::string(fakes_.bundleIdentifier) + ".passwords";
    std::filesystem::path catalogFile_ =
        EntryRepository([this] { return fakes_.directory.path(); }).fileURL();
    std::shared_ptr<AppCoordinator> app_;
    std::vector<App> apps_;
    std::vector<SecretBytes> passwords_;
    int labels_ = 0;
    MonotonicTime start_;
    std::vector<std::string> trace_;
    bool failed_ = false;
    // The current invocation: what it captured and delivers, and what ended it for good.
    std::optional<Capture> capture_;
    std::optional<Pick> pick_;
    bool cancelled_ = false;
    bool typingStopped_ = false;
    std::optional<MonotonicTime> idleSince_;
    std::optional<MonotonicTime> lastCopyAt_;
};

std::optional<std::uint64_t> environmentNumber(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::optional(std::strtoull(value, nullptr, 10)) : std::nullopt;
}

TEST(SimulationTest, RandomRunsKeepEveryInvariant) {
    auto first = std::uint64_t{1};
    auto last = environmentNumber("KESTRELLE_SIMULATION_SEEDS").value_or(defaultSeedCount);
    if (const auto seed = environmentNumber("KESTRELLE_SIMULATION_SEED")) {
        first = last = *seed;
    }
    for (auto seed = first; seed <= last; ++seed) {
        test::FreedMemoryWatch watch;
        if (!Simulation(seed, watch).run()) {
            return; // one replayable failure says more than many
        }
        ASSERT_EQ(watch.unwipedFrees(), 0U)
            << "a password freed without being wiped as seed " << seed << " shut down";
    }
}

} // namespace
} // namespace kestrelle
