#pragma once

#include <memory>
#include <utility>

namespace kestrelle {

// One user-interface element of some application, as the accessibility service hands it out.
// Copies share the platform object, which lives while any copy does. There is deliberately no
// equality: two handles may name the same element, and only the service can tell.
class AccessibilityElement {
public:
    explicit AccessibilityElement(std::shared_ptr<const void> object)
        : object_(std::move(object)) {}

    // The platform's object; only the service that made the handle knows its type.
    const void* object() const { return object_.get(); }

private:
    std::shared_ptr<const void> object_;
};

} // namespace kestrelle
