#include "System/AutostartLoginItem.h"

#include "Storage/AtomicFileWriter.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using test::TemporaryDirectory;
using Reply = std::optional<std::optional<std::string>>;
const Reply success{std::in_place};

class AutostartLoginItemTest : public ::testing::Test {
protected:
    Reply registered() {
        Reply reply;
        item.registerItem([&](std::optional<std::string> error) { reply = error; });
        return reply;
    }
    Reply unregistered() {
        Reply reply;
        item.unregisterItem([&](std::optional<std::string> error) { reply = error; });
        return reply;
    }

    TemporaryDirectory home;
    std::filesystem::path autostart = home.path() / "config" / "autostart";
    std::filesystem::path entry = autostart / AutostartLoginItem::entryName;
    AtomicFileWriter writer;
    std::vector<std::filesystem::path> opened;
    AutostartLoginItem item{
        autostart, "/opt/My \"Apps\"/kestrelle", writer,
        [this](const std::filesystem::path& folder) { opened.push_back(folder); }};
};

// Registering writes the entry (creating the folder), which starts the program by its quoted
// path; removing it, or the user editing it, makes the item unregistered again, and removing an
// absent entry succeeds.
TEST_F(AutostartLoginItemTest, TheEntryIsTheRegistration) {
    EXPECT_EQ(item.status(), LoginItemSystemService::statusNotRegistered);
    EXPECT_EQ(registered(), success);
    EXPECT_EQ(item.status(), LoginItemSystemService::statusEnabled);
    EXPECT_NE(TemporaryDirectory::read(entry).find("\nExec=\"/opt/My \\\"Apps\\\"/kestrelle\"\n"),
              std::string::npos);

    TemporaryDirectory::write(entry, TemporaryDirectory::read(entry) + "Hidden=true\n");
    EXPECT_EQ(item.status(), LoginItemSystemService::statusNotRegistered);
    EXPECT_EQ(registered(), success);
    EXPECT_EQ(item.status(), LoginItemSystemService::statusEnabled);

    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(unregistered(), success);
        EXPECT_EQ(item.status(), LoginItemSystemService::statusNotRegistered);
    }
    item.openLoginItemsSettings();
    EXPECT_EQ(opened, std::vector{autostart});
}

// A failure is reported with the platform's reason and changes nothing.
TEST_F(AutostartLoginItemTest, AFailedRequestReportsWhyAndChangesNothing) {
    TemporaryDirectory::write(autostart.parent_path() / "autostart", "a file, not a folder");
    const auto reply = registered();
    ASSERT_TRUE(reply && *reply);
    EXPECT_NE((*reply)->find(autostart.string()), std::string::npos);
    EXPECT_EQ(item.status(), LoginItemSystemService::statusNotRegistered);
    EXPECT_EQ(TemporaryDirectory::read(autostart), "a file, not a folder");
}

} // namespace
} // namespace kestrelle
