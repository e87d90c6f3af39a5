#pragma once

#include "Shortcut/HotKeyService.h"

#include <string>
#include <vector>

namespace kestrelle::test {

// Records every call; statuses can be scripted; `press` plays the platform delivering a press.
class FakeHotKeyService final : public HotKeyService {
public:
    InstallResult installHandler(std::function<void(HotKeyId)> onPress) override {
        calls.push_back("install");
        if (installStatus != 0) {
            return {installStatus, std::nullopt};
        }
        handler = std::move(onPress);
        return {0, HotKeyHandler{++nextReference}};
    }
    void removeHandler(HotKeyHandler) override {
        calls.push_back("remove");
        handler = nullptr;
    }
    RegisterResult registerHotKey(std::uint32_t keyCode, std::uint32_t carbonModifiers,
                                  HotKeyId id) override {
        calls.push_back("register " + std::to_string(keyCode) + " " +
                        std::to_string(carbonModifiers));
        lastId = id;
        if (registerStatus != 0) {
            return {registerStatus, std::nullopt};
        }
        ++activeRegistrations;
        return {0, HotKeyRegistration{++nextReference}};
    }
    void unregisterHotKey(HotKeyRegistration) override {
        calls.push_back("unregister");
        --activeRegistrations;
    }

    void press(HotKeyId id) const {
        if (handler) {
            handler(id);
        }
    }

    std::int32_t installStatus = 0, registerStatus = 0;
    std::vector<std::string> calls;
    std::function<void(HotKeyId)> handler;
    HotKeyId lastId;
    int activeRegistrations = 0;
    std::uintptr_t nextReference = 0;
};

} // namespace kestrelle::test
