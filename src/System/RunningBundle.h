#pragma once

#include <optional>
#include <string>

namespace kestrelle {

// Where the running copy of the app lives. Accessibility approval belongs to one copy, so this
// is what the user needs to find when an approval seems to have no effect.
struct RunningBundle {
    std::string path;
    std::optional<std::string> identifier;
};

} // namespace kestrelle
