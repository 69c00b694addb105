#include "cuesheet/CueSheet.hpp"
#include "cuesheet/CueSheetJson.hpp"
#include "support/TestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lorvan {
namespace {

using testing::HasSubstr;

const auto quoted = test::shellQuoted;

test::ProcessRun cli(const std::string& arguments) {
    return test::runProcess(LORVAN_CLI, arguments);
}

TEST(CueCommand, PrintsTheLogAndTablesOfTheDemoSheetOrOnlyItsJson) {
    const auto path = std::filesystem::path(LORVAN_DEMO_DIR) / "Lorvan Demo.cue";
    const auto run = cli("cue " + quoted(path));
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.out, HasSubstr("Successfully decoded with"));
    EXPECT_THAT(run.out, HasSubstr("║ Number  ║ Track  │ File"));
    EXPECT_THAT(run.out, HasSubstr("│ 00:25:00  │ 1102500 │"));
    EXPECT_THAT(run.out, HasSubstr("│ Lorvan Demo Disc"));

    const auto json = cli("cue " + quoted(path) + " --json");
    EXPECT_EQ(json.status, 0);
    const auto document = nlohmann::json::parse(json.out); // throws if the log leaked into stdout
    const auto sheet = document.get<CueSheet>();
    EXPECT_EQ(sheet.url.path(), path);
    EXPECT_EQ(sheet.tracks.size(), 3u);
    EXPECT_EQ(sheet.tracks[0].fakePregap, 88200);
    EXPECT_EQ(document["metadata"]["tracksMetadata"][1]["title"], "Café Arpeggio");
}

TEST(CueCommand, RefusalsExitWithOneAndDescribeTheError) {
    test::TemporaryDirectory directory;
    const auto bad = directory.write(
        "bad.cue", "FILE \"a.wav\" WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:00\nTRACK 03 AUDIO\n");
    const auto plain = cli("cue " + quoted(bad));
    EXPECT_EQ(plain.status, 1);
    const auto lastLine = plain.out.substr(plain.out.rfind('\n', plain.out.size() - 2) + 1);
    EXPECT_EQ(lastLine, "Invalid track number: Track number inconsistant with previous one (03).\n");

    const auto json = nlohmann::json::parse(cli("cue " + quoted(bad) + " --json").out);
    EXPECT_EQ(json, nlohmann::json::parse(R"({"error": {"type": "CueSheetError",
        "kind": "TRACK_InvalidNumberValue_InconsistantWithNumberOfTracks", "line": 4, "value": "03",
        "errorDescription": "Invalid track number",
        "failureReason": "Track number inconsistant with previous one (03)."}})"));

    const auto gap = directory.write(
        "gap.cue", "FILE \"a.wav\" WAVE\nTRACK 01 AUDIO\nPREGAP 00:02:00\nINDEX 00 00:00:00\n");
    const auto discError = nlohmann::json::parse(cli("cue " + quoted(gap) + " --json").out);
    EXPECT_EQ(discError["error"]["type"], "AudioDiscError");
    EXPECT_EQ(discError["error"]["kind"], "dummy");
    EXPECT_EQ(discError["error"]["errorDescription"], "<AudioDiscError Placeholder>");
    EXPECT_TRUE(discError["error"]["line"].is_null());

    // Unreadable inputs exit with 1, usage errors with 2. The JSON of a missing file is the
    // info command's to check.
    EXPECT_EQ(cli("cue " + quoted(directory.path() / "missing.cue")).status, 1);
    EXPECT_EQ(cli("cue " + quoted(directory.path())).status, 1);
    EXPECT_EQ(cli("cue").status, 2);
    EXPECT_EQ(cli("cue a.cue --no-such-option").status, 2);
    EXPECT_EQ(cli("").status, 2);
    EXPECT_EQ(cli("--version").status, 0);
    EXPECT_THAT(cli("cue --help").out, HasSubstr("--json"));
}

} // namespace
} // namespace lorvan
