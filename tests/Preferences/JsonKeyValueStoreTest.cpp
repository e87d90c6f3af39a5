#include "Preferences/JsonKeyValueStore.h"

#include "Storage/AtomicFileWriter.h"
#include "Support/LogCapture.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>
#include <limits>

namespace kestrelle {
namespace {

using test::TemporaryDirectory;

class JsonKeyValueStoreTest : public ::testing::Test {
protected:
    JsonKeyValueStore open() { return JsonKeyValueStore(file, writer); }

    test::LogCapture logs;
    TemporaryDirectory directory;
    // A folder that does not exist yet, as on a first start.
    std::filesystem::path file = directory.path() / "kestrelle" / "preferences.json";
    AtomicFileWriter writer;
};

// Each kind reads back as the kind it was stored as, from this store or from a hand-edited file;
// whole numbers above the signed range stay unsigned.
TEST_F(JsonKeyValueStoreTest, ValuesReadBackAsTheKindTheyWereStoredAs) {
    constexpr auto largest = std::numeric_limits<std::uint64_t>::max();
    {
        auto store = open();
        EXPECT_EQ(store.read("missing"), StoredValue{});
        store.writeInteger("negative", -5);
        store.writeInteger("small", 7);
        store.writeUnsigned("large", largest);
    }
    auto reopened = open();
    EXPECT_EQ(reopened.read("negative"), StoredValue{std::int64_t{-5}});
    EXPECT_EQ(reopened.read("small"), StoredValue{std::int64_t{7}});
    EXPECT_EQ(reopened.read("large"), StoredValue{largest});

    TemporaryDirectory::write(
        file, R"({"flag": true, "ratio": 1.0, "name": "x", "list": [1], "nothing": null})");
    const auto edited = open();
    EXPECT_EQ(edited.read("flag"), StoredValue{true});
    EXPECT_EQ(edited.read("ratio"), StoredValue{1.0});
    EXPECT_EQ(edited.read("name"), StoredValue{std::string("x")});
    EXPECT_EQ(edited.read("list"), StoredValue{OtherStoredValue{}});
    EXPECT_EQ(edited.read("nothing"), StoredValue{OtherStoredValue{}});
}

// A file that is not a JSON object gives the defaults and is kept aside, unchanged, when the
// first change is saved; later starts read the new file.
TEST_F(JsonKeyValueStoreTest, AnUnreadableFileIsKeptAsideAtTheFirstChange) {
    for (const std::string bytes : {"{\"cut off\": ", "[1, 2]", "\xff\xfe"}) {
        SCOPED_TRACE(testing::PrintToString(bytes));
        std::filesystem::remove_all(file.parent_path());
        TemporaryDirectory::write(file, bytes);
        auto store = open();
        EXPECT_EQ(store.read("cut off"), StoredValue{});
        EXPECT_EQ(TemporaryDirectory::read(file), bytes) << "nothing is written before a change";
        store.writeInteger("reuse", 30);
        EXPECT_EQ(TemporaryDirectory::read(file.string() + ".unreadable"), bytes);
        EXPECT_EQ(open().read("reuse"), StoredValue{std::int64_t{30}});
    }
}

} // namespace
} // namespace kestrelle
