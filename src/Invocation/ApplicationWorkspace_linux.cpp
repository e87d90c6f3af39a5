#include "Invocation/ApplicationWorkspace_linux.h"

#include <unistd.h>

namespace kestrelle {

namespace {

X11FocusedClient focusedClientOfQt() {
    const auto x11 = X11Connection::ofQt();
    return X11FocusedClient(x11.connection, x11.root);
}

} // namespace

X11ApplicationWorkspace::X11ApplicationWorkspace() : focused_(focusedClientOfQt()) {}

std::optional<FrontmostApplication> X11ApplicationWorkspace::frontmostApplication() {
    const auto window = focused_.window();
    if (!window) {
        return std::nullopt;
    }
    auto identity = focused_.identity(*window);
    if (!identity.processIdentifier) {
        return std::nullopt;
    }
    return FrontmostApplication{*identity.processIdentifier, std::move(identity.windowClass)};
}

std::int32_t X11ApplicationWorkspace::currentProcessIdentifier() {
    return getpid();
}

} // namespace kestrelle
