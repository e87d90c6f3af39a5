#pragma once

#include <string>
#include <utility>

namespace kestrelle {

// The outcome of registering the shortcut: registered, refused by the rules (invalid), or
// refused by the system (conflict).
class ShortcutStatus {
public:
    enum class Kind { registered, conflict, invalid };

    static ShortcutStatus registered() { return ShortcutStatus{Kind::registered, {}}; }
    static ShortcutStatus conflict(std::string message) {
        return ShortcutStatus{Kind::conflict, std::move(message)};
    }
    static ShortcutStatus invalid(std::string message) {
        return ShortcutStatus{Kind::invalid, std::move(message)};
    }

    Kind kind() const { return kind_; }
    // Empty when registered.
    const std::string& message() const { return message_; }

    friend bool operator==(const ShortcutStatus&, const ShortcutStatus&) = default;

private:
    ShortcutStatus(Kind kind, std::string message) : kind_(kind), message_(std::move(message)) {}

    Kind kind_;
    std::string message_;
};

} // namespace kestrelle
