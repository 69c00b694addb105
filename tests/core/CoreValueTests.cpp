#include "core/Checked.hpp"
#include "core/Url.hpp"
#include "core/Uuid.hpp"

#include <cstdint>
#include <gtest/gtest.h>
#include <set>

namespace lorvan {
namespace {

TEST(Checked, ReturnsExactResultsInRange) {
    EXPECT_EQ(checkedAdd<std::int64_t>(INT64_MAX - 1, 1), INT64_MAX);
    EXPECT_EQ(checkedSubtract<std::int64_t>(INT64_MIN + 1, 1), INT64_MIN);
    EXPECT_EQ(checkedMultiply<std::int64_t>(44100, 86400), 3810240000);
    EXPECT_EQ(checkedNegate<std::int64_t>(-5), 5);
    EXPECT_EQ((checkedCast<std::uint32_t, std::int64_t>(4294967295)), 4294967295u);
}

TEST(CheckedDeathTest, OverflowStopsTheProcessWithAMessage) {
    EXPECT_DEATH((void)checkedAdd<std::int64_t>(INT64_MAX, 1), "overflow in addition");
    EXPECT_DEATH((void)checkedSubtract<std::int64_t>(INT64_MIN, 1), "overflow in subtraction");
    EXPECT_DEATH((void)checkedMultiply<std::int32_t>(65536, 65536), "overflow in multiplication");
    EXPECT_DEATH((void)checkedNegate<std::int64_t>(INT64_MIN), "overflow in negation");
    EXPECT_DEATH((void)(checkedCast<std::uint32_t, std::int64_t>(-1)), "conversion out of range");
    EXPECT_DEATH((void)(checkedCast<std::uint32_t, std::int64_t>(4294967296)), "conversion out of range");
}

TEST(Url, FileURLsRoundTripThroughTheirTextOtherSchemesKeepItAndMalformedTextIsRefused) {
    const auto url = Url::fileURL("/music/Some Album/01 – Intro #1.flac");
    EXPECT_TRUE(url.isFileURL());
    EXPECT_EQ(url.absoluteString(), "file:///music/Some%20Album/01%20%E2%80%93%20Intro%20%231.flac");
    EXPECT_EQ(Url::parse(url.absoluteString()), url);
    EXPECT_EQ(url.lastPathComponent(), "01 – Intro #1.flac");
    EXPECT_EQ(url.pathExtension(), "flac");
    EXPECT_EQ(url.deletingLastPathComponent().appendingPathComponent("cover.png").path(),
              "/music/Some Album/cover.png");
    EXPECT_EQ(Url::parse("file://localhost/tmp/a.cue")->path(), "/tmp/a.cue");

    const auto web = Url::parse("https://example.org/a.cue");
    ASSERT_TRUE(web);
    EXPECT_FALSE(web->isFileURL());
    EXPECT_EQ(web->absoluteString(), "https://example.org/a.cue");
    for (const char* bad : {"no scheme here", "file://relative/path", "file:///bad%2", "file:///bad%zz"})
        EXPECT_FALSE(Url::parse(bad)) << bad;
}

TEST(Uuid, RandomVersionFourAndTextRoundTrip) {
    std::set<Uuid> seen;
    for (int i = 0; i < 100; ++i) {
        const auto uuid = Uuid::random();
        const auto text = uuid.uuidString();
        ASSERT_EQ(text.size(), 36u);
        EXPECT_TRUE(text[14] == '4' && std::string("89AB").find(text[19]) != std::string::npos) << text;
        EXPECT_EQ(Uuid::parse(text), uuid);
        seen.insert(uuid);
    }
    EXPECT_EQ(seen.size(), 100u);
    EXPECT_EQ(Uuid::parse("e621e1f8-c36c-495a-93fc-0c247a3e6e5f")->uuidString(),
              "E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
    for (const char* bad : {"E621E1F8-C36C-495A-93FC-0C247A3E6E5", "E621E1F8xC36C-495A-93FC-0C247A3E6E5F",
                            "G621E1F8-C36C-495A-93FC-0C247A3E6E5F"})
        EXPECT_FALSE(Uuid::parse(bad)) << bad;
}

} // namespace
} // namespace lorvan
