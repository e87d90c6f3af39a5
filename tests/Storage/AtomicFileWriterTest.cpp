#include "Storage/AtomicFileWriter.h"

#include "Storage/FileSystemError.h"
#include "Support/FaultyFileSystem.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

namespace kestrelle {
namespace {

using test::FaultyFileSystem;
using test::TemporaryDirectory;
using Step = FaultyFileSystem::Step;

class AtomicFileWriterTest : public ::testing::Test {
protected:
    AtomicFileWriterTest() {
        auto fileSystem = std::make_unique<FaultyFileSystem>();
        faults = fileSystem.get();
        writer = std::make_unique<AtomicFileWriter>(std::move(fileSystem));
    }

    TemporaryDirectory directory;
    std::filesystem::path file = directory.path() / "entries.json";
    FaultyFileSystem* faults;
    std::unique_ptr<AtomicFileWriter> writer;
};

TEST_F(AtomicFileWriterTest, ReplacesTheWholeFileAndLeavesNothingElse) {
    writer->write(file, "a longer first version");
    writer->write(file, "second");
    EXPECT_EQ(TemporaryDirectory::read(file), "second");
    EXPECT_EQ(TemporaryDirectory::names(directory.path()), std::set<std::string>{"entries.json"});
}

TEST_F(AtomicFileWriterTest, AFailureAtAnyStepKeepsTheOldFileAndRemovesTheTemporaryOne) {
    const std::string old = "old content\n";
    for (Step step :
         {Step::createTemporaryFile, Step::writeAll, Step::sync, Step::close, Step::rename}) {
        SCOPED_TRACE(static_cast<int>(step));
        faults->failingStep = std::nullopt;
        std::filesystem::remove(file);
        faults->failingStep = step;

        EXPECT_THROW(writer->write(file, "new content that never lands"), FileSystemError);
        EXPECT_TRUE(TemporaryDirectory::names(directory.path()).empty());

        TemporaryDirectory::write(file, old);
        try {
            writer->write(file, "new content that never lands");
            ADD_FAILURE() << "no error";
        } catch (const FileSystemError& error) {
            EXPECT_TRUE(error.description().starts_with("The file “" + file.string() +
                                                        "” could not be saved: "));
        }
        EXPECT_EQ(TemporaryDirectory::read(file), old);
        EXPECT_EQ(TemporaryDirectory::names(directory.path()),
                  std::set<std::string>{"entries.json"});
    }
}

} // namespace
} // namespace kestrelle
