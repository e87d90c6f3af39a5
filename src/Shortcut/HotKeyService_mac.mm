#include "Shortcut/HotKeyService_mac.h"

#include <Carbon/Carbon.h>
#include <map>

namespace kestrelle {

namespace {

using OnTransition = std::function<void(HotKeyId, HotKeyTransition)>;

// One installed handler: the callback and the two Carbon handlers (pressed, released) that call it.
struct Handler {
    OnTransition onTransition;
    EventHandlerRef pressed = nullptr;
    EventHandlerRef released = nullptr;
};

template <HotKeyTransition transition>
OSStatus receive(EventHandlerCallRef, EventRef event, void *handler) {
    EventHotKeyID key{};
    const OSStatus status = GetEventParameter(event, kEventParamDirectObject, typeEventHotKeyID,
                                              nullptr, sizeof(key), nullptr, &key);
    if (status == 0) {
        static_cast<Handler *>(handler)->onTransition(
            HotKeyId{.signature = key.signature, .id = key.id}, transition);
    }
    return status;
}

OSStatus install(EventHandlerUPP receiver, UInt32 kind, Handler &handler, EventHandlerRef &out) {
    const EventTypeSpec type{kEventClassKeyboard, kind};
    return InstallEventHandler(GetApplicationEventTarget(), receiver, 1, &type, &handler, &out);
}

class CarbonHotKeyService final : public HotKeyService {
  public:
    CarbonHotKeyService() = default;
    CarbonHotKeyService(const CarbonHotKeyService &) = delete;
    CarbonHotKeyService &operator=(const CarbonHotKeyService &) = delete;
    ~CarbonHotKeyService() override {
        while (!registrations_.empty()) {
            unregisterHotKey(HotKeyRegistration{registrations_.begin()->first});
        }
        while (!handlers_.empty()) {
            removeHandler(HotKeyHandler{handlers_.begin()->first});
        }
    }

    std::optional<HotKeyHandler> installHandler(OnTransition onTransition) override {
        auto handler = std::make_unique<Handler>(Handler{.onTransition = std::move(onTransition)});
        if (install(&receive<HotKeyTransition::pressed>, kEventHotKeyPressed, *handler,
                    handler->pressed) != 0) {
            return std::nullopt;
        }
        if (install(&receive<HotKeyTransition::released>, kEventHotKeyReleased, *handler,
                    handler->released) != 0) {
            RemoveEventHandler(handler->pressed);
            return std::nullopt;
        }
        handlers_.emplace(++nextReference_, std::move(handler));
        return HotKeyHandler{nextReference_};
    }

    void removeHandler(HotKeyHandler reference) override {
        const auto found = handlers_.find(static_cast<std::uintptr_t>(reference));
        if (found == handlers_.end()) {
            return;
        }
        RemoveEventHandler(found->second->pressed);
        RemoveEventHandler(found->second->released);
        handlers_.erase(found);
    }

    RegisterResult registerHotKey(const HotKeyCodes &codes, HotKeyId id) override {
        std::vector<EventHotKeyRef> registered;
        for (const auto mask : codes.modifierMasks) {
            EventHotKeyRef hotKey = nullptr;
            const OSStatus status = RegisterEventHotKey(
                codes.key, mask, EventHotKeyID{.signature = id.signature, .id = id.id},
                GetApplicationEventTarget(), 0, &hotKey);
            if (status != 0) {
                unregister(registered);
                return HotKeyRefusal{.reason = HotKeyRefusal::Reason::conflict,
                                     .platformStatus = status};
            }
            registered.push_back(hotKey);
        }
        registrations_.emplace(++nextReference_, std::move(registered));
        return HotKeyRegistration{nextReference_};
    }

    void unregisterHotKey(HotKeyRegistration reference) override {
        const auto found = registrations_.find(static_cast<std::uintptr_t>(reference));
        if (found != registrations_.end()) {
            unregister(found->second);
            registrations_.erase(found);
        }
    }

  private:
    static void unregister(const std::vector<EventHotKeyRef> &hotKeys) {
        for (auto *hotKey : hotKeys) {
            UnregisterEventHotKey(hotKey);
        }
    }

    std::uintptr_t nextReference_ = 0;
    // Carbon holds each handler's address as its user data, so handlers never move.
    std::map<std::uintptr_t, std::unique_ptr<Handler>> handlers_;
    std::map<std::uintptr_t, std::vector<EventHotKeyRef>> registrations_;
};

} // namespace

std::unique_ptr<HotKeyService> makeCarbonHotKeyService() {
    return std::make_unique<CarbonHotKeyService>();
}

} // namespace kestrelle
