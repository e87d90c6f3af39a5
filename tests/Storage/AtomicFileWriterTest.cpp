#include "Storage/AtomicFileWriter.h"

#include "Storage/FileSystemError.h"
#include "Support/FaultyFileSystem.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using test::TemporaryDirectory;
using Step = test::FaultyFileSystem::Step;

struct AtomicFileWriterTest : ::testing::Test {
    TemporaryDirectory directory;
    std::filesystem::path file = directory.path() / "entries.json";
    std::unique_ptr<test::FaultyFileSystem> owned = std::make_unique<test::FaultyFileSystem>();
    test::FaultyFileSystem& faults = *owned;
    AtomicFileWriter writer{std::move(owned)};
    const std::set<std::string> onlyTheFile{"entries.json"};
};

TEST_F(AtomicFileWriterTest, FlushesBeforeTheRenameAndTheFolderAfterIt) {
    writer.write(file, "a longer first version");
    // A folder that cannot be synced does not undo a rename every reader already sees.
    faults.failingStep = Step::syncDirectory;
    faults.steps.clear();
    writer.write(file, "second");
    EXPECT_EQ(TemporaryDirectory::read(file), "second");
    EXPECT_EQ(TemporaryDirectory::names(directory.path()), onlyTheFile);
    EXPECT_EQ(faults.steps, (std::vector{Step::createTemporaryFile, Step::writeAll, Step::sync,
                                         Step::close, Step::rename, Step::syncDirectory}));
}

TEST_F(AtomicFileWriterTest, AFailureAtAnyStepBeforeTheRenameKeepsTheOldFileAndNothingElse) {
    for (Step step :
         {Step::createTemporaryFile, Step::writeAll, Step::sync, Step::close, Step::rename}) {
        SCOPED_TRACE(static_cast<int>(step));
        faults.failingStep = step;
        std::filesystem::remove(file);
        EXPECT_THROW(writer.write(file, "new content that never lands"), FileSystemError);
        EXPECT_TRUE(TemporaryDirectory::names(directory.path()).empty());

        TemporaryDirectory::write(file, "old\n");
        try {
            writer.write(file, "new content that never lands");
            ADD_FAILURE() << "no error";
        } catch (const FileSystemError& error) {
            EXPECT_EQ(error.description(), "The file “" + file.string() + "” could not be saved: " +
                                               std::make_error_code(std::errc::io_error).message() +
                                               ". It was not changed.");
        }
        EXPECT_EQ(TemporaryDirectory::read(file), "old\n");
        EXPECT_EQ(TemporaryDirectory::names(directory.path()), onlyTheFile);
    }
}

} // namespace
} // namespace kestrelle
