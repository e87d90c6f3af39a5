#pragma once

#include "App/MainMenuInstalling.h"

#include <memory>

namespace kestrelle {

// The application's main menu: one application menu holding the model's items.
std::unique_ptr<MainMenuInstalling> makeApplicationMainMenu();

} // namespace kestrelle
