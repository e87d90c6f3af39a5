#include "App/AppCoordinator.h"

#include "Invocation/AccessibilityInsertionTarget.h"
#include "Runtime/Check.h"
#include "Storage/EntryRepository.h"
#include "Storage/UnavailableEntryRepository.h"

namespace kestrelle {

namespace {

template <class Keyboard>
Keyboard& typingKeyboard(AppCoordinator::Platform& platform) {
    const auto* keyboard = std::get_if<std::reference_wrapper<Keyboard>>(&platform.keyboard);
    KESTRELLE_CHECK(keyboard, "The platform lacks the keyboard its way of typing needs");
    return keyboard->get();
}

InputInjector makeInjector(AppCoordinator::Platform& platform) {
    if (platform.traits.typing == PlatformTraits::Typing::keyPerCodePoint) {
        return InputInjector(typingKeyboard<KeymapKeyboard>(platform));
    }
    return InputInjector(typingKeyboard<KeyboardEventPosting>(platform));
}

} // namespace

std::shared_ptr<AppCoordinator> AppCoordinator::create(Platform& platform) {
    auto coordinator = std::make_shared<AppCoordinator>(ConstructionKey{}, platform);
    std::weak_ptr<AppCoordinator> weak = coordinator;
    // The picker's Configure button opens Settings.
    coordinator->invocationCoordinator_->setOnConfigure([weak] {
        if (auto self = weak.lock()) {
            self->showSettings();
        }
    });
    return coordinator;
}

std::unique_ptr<EntryCatalogStoring> AppCoordinator::makeRepository(Platform& platform) {
    try {
        return std::make_unique<EntryRepository>(
            platform.dataDirectory, std::make_unique<AtomicFileWriter>(platform.makeFileSystem()),
            platform.traits.dataFolderName);
    } catch (const KestrelleError& error) {
        // The rest of the app runs, and shows why wherever the catalog is needed.
        return std::make_unique<UnavailableEntryRepository>("Password metadata is unavailable. " +
                                                            error.description());
    }
}

AppCoordinator::AppCoordinator(ConstructionKey, Platform& platform)
    : platform_(platform), statusItemController_(platform.statusBar, platform.traits.updatesItself),
      hotkeyManager_(platform.hotKeys, platform.executor, platform.traits.keyboard),
      settings_(platform.defaults, platform.traits.keyboard),
      permissions_(PermissionsManager::create({
          .trustProbe = platform.trustProbe,
          .trustPrompt = platform.trustPrompt,
          .workspace = platform.systemWorkspace,
          .activations = platform.appActivations,
          .timers = platform.timers,
          .bundle = platform.bundle,
      })),
      loginItem_(LoginItemService::create(platform.loginItems, platform.appActivations)),
      repository_(makeRepository(platform)),
      secretStore_(platform.keychain, platform.keychainQueue,
                   platform.bundle.identifier.value_or(std::string(fixedBundleIdentifier)),
                   platform.traits.secretStoreBindsBiometrics),
      securePasswords_(std::make_shared<SecurePasswordService>(platform.biometrics, secretStore_,
                                                               platform.executor)),
      injector_(makeInjector(platform)), clipboard_(platform.pasteboard, platform.executor) {
    auto& accessibility = platform.accessibility;
    auto& workspace = platform.workspace;
    auto picker = PasswordPicker::create(platform.makePickerPanel(), platform.executor,
                                         platform.traits.screenYGrowsDown);
    picker->setShortcut([&settings = settings_](const PasswordPickerKeyEvent& event) {
        return settings.hotkey().matches(event.key, event.modifierFlags);
    });
    invocationCoordinator_ = InvocationCoordinator::create({
        .executor = platform.executor,
        .securePasswords = securePasswords_,
        .repository = *repository_,
        .picker = std::move(picker),
        .injector = injector_,
        .clipboard = clipboard_,
        .workspace = workspace,
        .activations = platform.activations,
        .alerts = platform.alerts,
        .captureTarget = [&accessibility, &workspace, pickerKeys = platform.traits.pickerKeys]()
            -> std::shared_ptr<CapturedInsertionTarget> {
            return AccessibilityInsertionTarget::capture(accessibility, workspace, pickerKeys);
        },
        .traits = platform.traits,
    });
    // A change to entries never races an open picker, and voids every earlier approval.
    std::weak_ptr<InvocationCoordinator> invocations = invocationCoordinator_;
    passwordSettings_ =
        std::make_unique<PasswordSettingsService>(*repository_, *securePasswords_, [invocations] {
            if (auto coordinator = invocations.lock()) {
                coordinator->cancelAll();
            }
        });
    settingsModel_ = SettingsViewModel::create({
        .executor = platform.executor,
        .settings = settings_,
        .permissions = *permissions_,
        .loginItem = *loginItem_,
        .passwords = *passwordSettings_,
        .securePasswords = *securePasswords_,
        .biometricAvailability = securePasswords_->availability(),
        .secretStoreBindsBiometrics = platform.traits.secretStoreBindsBiometrics,
        .systemNames = platform.traits.systemNames,
    });
    recorderModel_ = std::make_shared<HotkeyRecorderModel>(settings_);
}

void AppCoordinator::start() {
    std::weak_ptr<AppCoordinator> weak = weak_from_this();
    auto invoke = [weak] {
        if (auto self = weak.lock()) {
            self->invoke();
        }
    };
    statusItemController_.onInvoke = invoke;
    if (platform_.traits.invocationStart == PlatformTraits::InvocationStart::press) {
        hotkeyManager_.setOnPress(invoke);
    } else {
        hotkeyManager_.setOnRelease(invoke);
    }
    statusItemController_.onShowSettings = [weak] {
        if (auto self = weak.lock()) {
            self->showSettings();
        }
    };
    statusItemController_.onCheckForUpdates = [&updater = platform_.updater] {
        updater.checkForUpdates();
    };
    statusItemController_.onQuit = platform_.terminate;
    platform_.updater.start();
    statusItemController_.install();

    permissions_->beginMonitoring();
    loginItem_->beginMonitoring();

    // Registered at once and on every change; the outcome is shown in Settings, never as an
    // alert.
    cancellables_.push_back(settings_.subscribeHotkey([weak](const Hotkey& hotkey) {
        if (auto self = weak.lock()) {
            self->settings_.setShortcutStatus(self->hotkeyManager_.registerHotkey(hotkey));
        }
    }));
    cancellables_.push_back(
        settings_.subscribeBiometricReuseWindow([weak](const BiometricReuseWindow& window) {
            if (auto self = weak.lock()) {
                self->securePasswords_->setBiometricReuseWindow(duration(window));
            }
        }));
    interruptionObserver_ = platform_.interruptions.observe([weak] {
        if (auto self = weak.lock()) {
            self->handleSessionInterruption();
        }
    });
    // Without a tray the status menu cannot be reached, and Settings is where the user finds the
    // app and its shortcut.
    if (!platform_.statusBar.isAvailable()) {
        logger_.notice("No status bar to show the menu in: opening Settings");
        showSettings();
    }
}

void AppCoordinator::invoke() {
    permissions_->refresh();
    if (permissions_->accessibilityGranted()) {
        invocationCoordinator_->begin();
    } else {
        permissions_->requestAccess();
        showSettings();
    }
}

void AppCoordinator::handleSessionInterruption() {
    // Lock, sleep and a session switch are treated alike: drop half-typed passwords, close the
    // picker, and make the next invocation ask again.
    settingsModel_->clearTransientForms();
    invocationCoordinator_->cancel();
    securePasswords_->forgetReusableCredential();
}

void AppCoordinator::showSettings() {
    if (!settingsWindowController_) {
        settingsWindowController_ = SettingsWindowController::create({
            .makeWindow = platform_.makeSettingsWindow,
            .model = settingsModel_,
            .recorder = recorderModel_,
            .permissions = permissions_,
        });
    }
    settingsWindowController_->showWindow();
}

void AppCoordinator::perform(MenuAction action) {
    switch (action) {
    case MenuAction::showPasswordPicker:
        invoke();
        break;
    case MenuAction::showSettings:
        showSettings();
        break;
    case MenuAction::checkForUpdates:
        platform_.updater.checkForUpdates();
        break;
    case MenuAction::quit:
        platform_.terminate();
        break;
    case MenuAction::about:
        break;
    }
}

void AppCoordinator::stop() {
    settingsModel_->clearTransientForms();
    invocationCoordinator_->cancel();
    hotkeyManager_.unregister();
    interruptionObserver_.reset();
    cancellables_.clear();
}

} // namespace kestrelle
