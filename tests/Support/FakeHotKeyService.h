#pragma once

#include "Shortcut/HotKeyService.h"

#include <string>
#include <vector>

namespace kestrelle::test {

// Records every call; refusals can be scripted; `press` plays the platform delivering a hot
// key's transitions.
class FakeHotKeyService final : public HotKeyService {
public:
    std::optional<HotKeyHandler>
    installHandler(std::function<void(HotKeyId, HotKeyTransition)> onTransition) override {
        calls.push_back("install");
        if (failsInstall) {
            return std::nullopt;
        }
        handler = std::move(onTransition);
        return HotKeyHandler{++nextReference};
    }
    void removeHandler(HotKeyHandler) override {
        calls.push_back("remove");
        handler = nullptr;
    }
    RegisterResult registerHotKey(const HotKeyCodes& codes, HotKeyId id) override {
        std::string call = "register " + std::to_string(codes.key);
        for (const auto mask : codes.modifierMasks) {
            call += " " + std::to_string(mask);
        }
        calls.push_back(call);
        lastId = id;
        if (registerStatus != 0) {
            return HotKeyRefusal{refusalReason, registerStatus};
        }
        ++activeRegistrations;
        return HotKeyRegistration{++nextReference};
    }
    void unregisterHotKey(HotKeyRegistration) override {
        calls.push_back("unregister");
        --activeRegistrations;
    }

    // One keystroke, or the transitions given (repeated presses, a lone release).
    void press(HotKeyId id, std::initializer_list<HotKeyTransition> transitions = {
                                HotKeyTransition::pressed, HotKeyTransition::released}) const {
        for (const auto transition : transitions) {
            if (handler) {
                handler(id, transition);
            }
        }
    }

    bool failsInstall = false;
    // Refuses registrations when not 0.
    std::int32_t registerStatus = 0;
    HotKeyRefusal::Reason refusalReason = HotKeyRefusal::Reason::conflict;
    std::vector<std::string> calls;
    std::function<void(HotKeyId, HotKeyTransition)> handler;
    HotKeyId lastId;
    int activeRegistrations = 0;
    std::uintptr_t nextReference = 0;
};

} // namespace kestrelle::test
