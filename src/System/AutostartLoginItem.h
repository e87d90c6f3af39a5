#pragma once

#include "Storage/AtomicFileWriting.h"
#include "System/LoginItemSystemService.h"

#include <filesystem>
#include <functional>
#include <string>

namespace kestrelle {

// The app as a login item where the desktop follows the XDG autostart rule: an entry
// "kestrelle.desktop" in $XDG_CONFIG_HOME/autostart starts the program at login. An entry with
// other content (hidden by the user, or for another copy of the program) counts as not
// registered, and registering replaces it. Requests complete before they return; nothing waits
// for approval.
class AutostartLoginItem final : public LoginItemSystemService {
public:
    static constexpr std::string_view entryName = "kestrelle.desktop";

    // `executable` is the program to start; `openFolder` shows a folder to the user. `writer`
    // must outlive the item.
    AutostartLoginItem(std::filesystem::path autostartDirectory, std::filesystem::path executable,
                       AtomicFileWriting& writer,
                       std::function<void(const std::filesystem::path&)> openFolder);

    std::int64_t status() override;
    void registerItem(Completion completion) override;
    void unregisterItem(Completion completion) override;
    // There is no settings page for login items: the autostart folder is shown instead.
    void openLoginItemsSettings() override { openFolder_(directory_); }

    std::string entryText() const;

private:
    std::filesystem::path entry() const { return directory_ / entryName; }

    std::filesystem::path directory_;
    std::filesystem::path executable_;
    AtomicFileWriting& writer_;
    std::function<void(const std::filesystem::path&)> openFolder_;
};

} // namespace kestrelle
