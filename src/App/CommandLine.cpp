#include "App/CommandLine.h"

namespace kestrelle {

std::optional<CommandLine::Exit> CommandLine::exitFor(std::span<const std::string_view> arguments,
                                                      std::string_view version) {
    for (const auto argument : arguments) {
        if (argument == "--help" || argument == "-h") {
            return Exit{.text = helpText()};
        }
        if (argument == "--version") {
            return Exit{.text = "kestrelle " + std::string(version) + "\n"};
        }
        const auto problem =
            argument.starts_with('-') ? "unrecognized option" : "unexpected argument";
        return Exit{
            .text = "kestrelle: " + std::string(problem) + " '" + std::string(argument) +
                    "'\nTry 'kestrelle --help'.\n",
            .toStandardError = true,
            .status = usageStatus,
        };
    }
    return std::nullopt;
}

std::string CommandLine::helpText() {
    return R"(Usage: kestrelle [--help | --version]
Types saved passwords into other applications on an X11 desktop. Press the shortcut
(Ctrl+Alt+Space unless changed in Settings) in a text field, approve with your fingerprint or
account password, pick a password, and Kestrelle types it there; without a field it copies it
for 60 seconds. The tray icon opens Settings.

  -h, --help   show this text and exit
  --version    show the version and exit

Files:
  $XDG_CONFIG_HOME/kestrelle/preferences.json   settings (~/.config by default)
  $XDG_DATA_HOME/kestrelle/entries.json         labels and order (~/.local/share by default)
  $XDG_CONFIG_HOME/autostart/kestrelle.desktop  present while "Launch at login" is on
Passwords live in the login keyring (Secret Service), never in these files.
The log goes to standard error (when started with the desktop: journalctl --user -t kestrelle).

Exit status: 0 when it ends normally or another copy is already running (that copy comes
forward), 1 when it cannot start (no X display, no session bus, no home), 2 for arguments it
does not take.
)";
}

} // namespace kestrelle
