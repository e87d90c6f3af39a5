#include "App/CommandLine.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <vector>

namespace kestrelle {
namespace {

std::optional<CommandLine::Exit> exitFor(std::vector<std::string_view> arguments) {
    return CommandLine::exitFor(arguments, "1.2.3");
}

// Arguments are read in order and the first that decides wins; without any the program starts.
TEST(CommandLineTest, TheFirstDecisiveArgumentWins) {
    EXPECT_EQ(exitFor({}), std::nullopt);
    struct Case {
        std::vector<std::string_view> arguments;
        bool help;
    };
    for (const auto& [arguments, help] : {
             Case{{"--help"}, true},
             Case{{"-h", "--bogus"}, true},
             Case{{"--help", "--version"}, true},
             Case{{"--version"}, false},
             Case{{"--version", "--help"}, false},
         }) {
        SCOPED_TRACE(arguments.front());
        const auto exit = exitFor(arguments);
        ASSERT_TRUE(exit);
        EXPECT_EQ(exit->status, 0);
        EXPECT_FALSE(exit->toStandardError);
        EXPECT_EQ(exit->text == CommandLine::helpText(), help);
        EXPECT_EQ(exit->text == "kestrelle 1.2.3\n", !help);
    }
}

// Anything else, even after a valid option's misspelling, is two lines on standard error: what
// was refused, then where to look.
TEST(CommandLineTest, AnArgumentItDoesNotTakeIsAUsageError) {
    for (const auto* argument : {"--verbose", "-v", "--version=2", "--", "-", "settings", ""}) {
        SCOPED_TRACE(argument);
        const auto exit = exitFor({argument, "--help"});
        ASSERT_TRUE(exit);
        EXPECT_EQ(exit->status, CommandLine::usageStatus);
        EXPECT_TRUE(exit->toStandardError);
        EXPECT_EQ(exit->text.find("kestrelle: "), 0U);
        EXPECT_NE(exit->text.find("'" + std::string(argument) + "'\n"), std::string::npos);
        EXPECT_TRUE(exit->text.ends_with("\nTry 'kestrelle --help'.\n"));
        EXPECT_EQ(std::ranges::count(exit->text, '\n'), 2);
    }
}

// The help names every option the parser takes.
TEST(CommandLineTest, TheHelpNamesEveryOptionTaken) {
    const auto help = CommandLine::helpText();
    EXPECT_TRUE(help.starts_with("Usage: kestrelle"));
    for (const auto* option : {"--help", "-h", "--version"}) {
        SCOPED_TRACE(option);
        EXPECT_NE(help.find(option), std::string::npos);
        EXPECT_EQ(exitFor({option})->status, 0);
    }
}

} // namespace
} // namespace kestrelle
