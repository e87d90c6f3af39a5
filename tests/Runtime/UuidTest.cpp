#include "Runtime/Uuid.h"

#include <gtest/gtest.h>
#include <set>

namespace kestrelle {
namespace {

TEST(UuidTest, RandomIdentifiersAreVersionFourDistinctAndRoundTrip) {
    std::set<Uuid> seen;
    for (int index = 0; index < 1000; ++index) {
        auto uuid = Uuid::random();
        EXPECT_EQ(uuid.bytes()[6] >> 4, 4);
        EXPECT_EQ(uuid.bytes()[8] >> 6, 2);
        EXPECT_EQ(Uuid::parse(uuid.toString()), uuid);
        seen.insert(uuid);
    }
    EXPECT_EQ(seen.size(), 1000U);
}

TEST(UuidTest, ParsesEitherCaseOfThe36CharacterFormOnlyAndWritesUpperCase) {
    const std::string canonical = "E621E1F8-C36C-495A-93FC-0C247A3E6E5F";
    auto parsed = Uuid::parse("e621e1f8-c36c-495a-93fc-0c247a3e6e5f");
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->toString(), canonical);
    EXPECT_EQ(Uuid::parse(canonical), parsed);
    for (const char* text :
         {"", "E621E1F8C36C495A93FC0C247A3E6E5F", "{E621E1F8-C36C-495A-93FC-0C247A3E6E5F}",
          "E621E1F8-C36C-495A-93FC-0C247A3E6E5", "E621E1F8-C36C-495A-93FC-0C247A3E6E5FF",
          "E621E1F8-C36C-495A-93FC_0C247A3E6E5F", "E621E1F-8C36C-495A-93FC-0C247A3E6E5F",
          "G621E1F8-C36C-495A-93FC-0C247A3E6E5F", " E621E1F8-C36C-495A-93FC-0C247A3E6E5"}) {
        EXPECT_FALSE(Uuid::parse(text)) << text;
    }
}

} // namespace
} // namespace kestrelle
