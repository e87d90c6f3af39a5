#include "Invocation/InputInjector.h"
#include "Invocation/InvocationCoordinator.h"
#include "Invocation/PasswordClipboard.h"
#include "Storage/EntryRepository.h"
#include "Storage/SecretStore.h"
#include "Support/FakeAlerts.h"
#include "Support/FakeApplicationActivations.h"
#include "Support/FakeApplicationWorkspace.h"
#include "Support/FakeBiometrics.h"
#include "Support/FakeInsertionTarget.h"
#include "Support/FakeKeyboardEvents.h"
#include "Support/FakeKeychainBackend.h"
#include "Support/FakePasteboard.h"
#include "Support/FakePickerPanel.h"
#include "Support/InlineQueue.h"
#include "Support/ManualExecutor.h"
#include "Support/TaskProbe.h"
#include "Support/TemporaryDirectory.h"

#include <benchmark/benchmark.h>

namespace kestrelle {
namespace {

// From the shortcut press to the picker on screen, with an approval still reusable and 100
// entries in a real metadata file: the catalog is read and parsed on every press.
void shortcutPressToPickerShown(benchmark::State& state) {
    test::ManualExecutor executor;
    test::FakeBiometricContextFactory factory;
    test::FakeKeychainBackend keychain;
    test::InlineQueue queue;
    SecretStore store{keychain, queue};
    auto service = std::make_shared<SecurePasswordService>(factory, store, executor);
    service->setBiometricReuseWindow(std::chrono::minutes{30});
    test::TemporaryDirectory directory;
    EntryRepository repository{[&] { return directory.path(); }};
    EntryCatalog catalog;
    for (int index = 0; index < 100; ++index) {
        catalog.orderedEntries.emplace_back(Uuid::random(), "Entry " + std::to_string(index));
    }
    test::runTask(executor, repository.save(catalog));

    test::FakeKeyboardEvents keyboard{executor};
    InputInjector injector{keyboard};
    test::FakePasteboard pasteboard;
    PasswordClipboard clipboard{pasteboard, executor};
    test::FakeApplicationWorkspace workspace;
    workspace.frontmost = FrontmostApplication{42, "com.example.editor"};
    test::FakeApplicationActivations activations;
    test::FakeAlerts alerts;
    auto target = std::make_shared<test::FakeInsertionTarget>(42);
    auto ownedPanel = std::make_unique<test::FakePickerPanel>();
    auto* panel = ownedPanel.get();
    auto picker = PasswordPicker::create(std::move(ownedPanel), executor);
    auto coordinator = InvocationCoordinator::create({
        .executor = executor,
        .securePasswords = service,
        .repository = repository,
        .picker = picker,
        .injector = injector,
        .clipboard = clipboard,
        .workspace = workspace,
        .activations = activations,
        .alerts = alerts,
        .captureTarget = [&]() -> std::shared_ptr<CapturedInsertionTarget> { return target; },
    });

    // The first press prompts; every later one reuses the approval.
    coordinator->begin();
    executor.runUntilIdle();
    coordinator->cancel();
    executor.runUntilIdle();

    for (auto _ : state) {
        coordinator->begin();
        executor.runUntilIdle();
        if (!panel->isVisible()) {
            state.SkipWithError("the picker did not open");
            break;
        }
        state.PauseTiming();
        coordinator->cancel();
        executor.runUntilIdle();
        panel->calls.clear();
        state.ResumeTiming();
    }
}
BENCHMARK(shortcutPressToPickerShown)->Unit(benchmark::kMicrosecond);

} // namespace
} // namespace kestrelle
