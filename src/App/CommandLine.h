#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace kestrelle {

// What the Linux program does with its arguments before it touches Qt or the display: it takes
// no arguments but --help (-h) and --version, read in order, the first that decides winning.
struct CommandLine {
    // An answer that ends the program at once.
    struct Exit {
        std::string text;
        bool toStandardError = false;
        int status = 0;
    };

    // Status for arguments the program does not take, as GNU tools answer them.
    static constexpr int usageStatus = 2;

    // `arguments` excludes the program's name. None: start the program.
    static std::optional<Exit> exitFor(std::span<const std::string_view> arguments,
                                       std::string_view version);

    static std::string helpText();
};

} // namespace kestrelle
