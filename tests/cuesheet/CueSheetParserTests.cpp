#include "cuesheet/CueSheet.hpp"
#include "cuesheet/CueSheetError.hpp"
#include "cuesheet/CueSheetJson.hpp"
#include "support/TestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace lorvan {
namespace {

using Kind = CueSheetError::Kind;
using testing::ElementsAre;
using testing::HasSubstr;

const Url sheetUrl = Url::fileURL("/music/album/album.cue");

const std::string file = "FILE \"a.wav\" WAVE\n";
const std::string track1 = "TRACK 01 AUDIO\n";

CueSheet parse(std::string text) {
    return CueSheet::parse(std::move(text), sheetUrl);
}

// --- real-world layouts ------------------------------------------------------------------------

TEST(CueSheetParser, SingleFileWithIndex00Pregaps) {
    const auto sheet = parse("REM GENRE Rock\r\nREM DATE 1999\r\nPERFORMER \"The Band\"\r\n"
                             "TITLE \"The Album\"\r\nFILE \"The Band - The Album.wav\" WAVE\r\n"
                             "  TRACK 01 AUDIO\r\n    TITLE \"Intro\"\r\n    INDEX 01 00:00:00\r\n"
                             "  TRACK 02 AUDIO\r\n    TITLE \"Song\"\r\n"
                             "    INDEX 00 03:58:40\r\n    INDEX 01 04:00:00\r\n");
    EXPECT_EQ(sheet.url, sheetUrl);
    EXPECT_THAT(sheet.filenames, ElementsAre("The Band - The Album.wav"));
    ASSERT_EQ(sheet.tracks.size(), 2u);
    EXPECT_EQ(std::pair(sheet.tracks[0].index, sheet.tracks[1].index), std::pair(1L, 2L));
    EXPECT_THAT(sheet.tracks[1].chapters, ElementsAre(CueSheetChapter{0, 0, 238 * 44100 + 40 * 588},
                                                      CueSheetChapter{1, 0, 240 * 44100}));
    EXPECT_FALSE(sheet.tracks[1].fakePregap);
    ASSERT_TRUE(sheet.metadata);
    EXPECT_EQ(sheet.metadata->releaseTitle, "The Album");
    EXPECT_EQ(sheet.metadata->tracksMetadata->at(1).title, "Song");
    EXPECT_NE(sheet.tracks[0].id, sheet.tracks[1].id);
}

// Each row: a layout and the chapters {INDEX number, file, frame in that file} of every track.
TEST(CueSheetParser, LayoutsGiveEachTrackItsChaptersInTheirFiles) {
    using Chapters = std::vector<CueSheetChapter>;
    const std::pair<std::string, std::vector<Chapters>> rows[]{
        // One file per track, with track 2's pregap at the end of the first file.
        {"FILE \"01.flac\" WAVE\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n  TRACK 02 AUDIO\n"
         "    INDEX 00 04:10:20\nFILE \"02.flac\" WAVE\n    INDEX 01 00:00:00\n"
         "FILE \"03.flac\" WAVE\n  TRACK 03 AUDIO\n    INDEX 01 00:00:00\n",
         {{{1, 0, 0}}, {{0, 0, 250 * 44100 + 20 * 588}, {1, 1, 0}}, {{1, 2, 0}}}},
        // A hidden track one audio before INDEX 01, and chapters inside the track.
        {file + track1 + "INDEX 00 00:00:00\nINDEX 01 01:02:03\nINDEX 02 02:00:00\nINDEX 03 02:30:00\n",
         {{{0, 0, 0}, {1, 0, 2'735'964}, {2, 0, 120 * 44100}, {3, 0, 150 * 44100}}}},
        // A second INDEX 01 right after the first is taken without an INDEX 00.
        {file + track1 + "INDEX 01 00:00:00\nINDEX 01 00:01:00\n", {{{1, 0, 0}, {1, 0, 44100}}}},
    };
    for (const auto& [text, expected] : rows) {
        SCOPED_TRACE(text);
        std::vector<Chapters> chapters;
        for (const auto& track : parse(text).tracks)
            chapters.push_back(track.chapters);
        EXPECT_EQ(chapters, expected);
    }
}

TEST(CueSheetParser, ATrailingDataTrackEndsTheSheet) {
    test::CapturedLog log;
    const auto sheet =
        parse(file + track1 +
              "INDEX 01 00:00:00\nTRACK 02 AUDIO\nINDEX 01 01:00:00\n"
              "TRACK 03 MODE1/2352\nINDEX 01 02:00:00\nTHIS IS NOT READ \"\nTRACK 99 NONSENSE\n");
    ASSERT_EQ(sheet.tracks.size(), 2u);
    EXPECT_THAT(sheet.tracks[1].chapters, ElementsAre(CueSheetChapter{1, 0, 60 * 44100}));
    EXPECT_TRUE(log.contains("Track 03 of type 'MODE1/2352' - Ignoring the rest of the Cue Sheet"));
    for (const char* type : {"MODE1/2048", "MODE2/2352", "MODEx/2xxx"})
        EXPECT_EQ(parse(file + "TRACK 01 " + type + "\n").tracks.size(), 0u);
}

TEST(CueSheetParser, PregapAndPostgapAreFramesOfTheTrackBegunLast) {
    const auto sheet = parse(file + track1 + "PREGAP 00:02:00\nINDEX 01 00:00:00\nPOSTGAP 00:00:30\n");
    EXPECT_EQ(sheet.tracks[0].fakePregap, 88200);
    EXPECT_EQ(sheet.tracks[0].fakePostgap, 30 * 588);
}

TEST(CueSheetParser, ByteOrderMarkBlankLinesAndOddLinesAreLoggedAndSkipped) {
    test::CapturedLog log;
    const auto sheet = parse("\xEF\xBB\xBF\n   \t\nREM\nREM COMMENT \"ripped with care\"\nFLAGS DCP\n"
                             "TITLE \"Unclosed\nTITLE not quoted\nPERFORMER\n"
                             "FILE \"a.wav\" WAVE\u2028TRACK 01 AUDIO\rINDEX 01 00:00:00\u0085"
                             "REMIXER \"Not a remixer\"\nREM REMIXER \"DJ Real\"\n");
    EXPECT_EQ(sheet.tracks.size(), 1u);
    EXPECT_FALSE(sheet.metadata->releaseTitle);
    EXPECT_EQ(sheet.metadata->tracksMetadata->at(0).remixers, std::set<std::string>{"DJ Real"});
    for (const char* line :
         {"BOM detected.", "Empty line", "The command 'REM' has no following argument",
          "'COMMENT' is an unknown or ignored command.", "'FLAGS' is an unknown or ignored command.",
          "'IXER' is an unknown or ignored command.", "Quote non ended",
          "The command 'PERFORMER' has no argument", "Audio file 01", ": a.wav | Type: WAVE"})
        EXPECT_TRUE(log.contains(line)) << line;
}

TEST(CueSheetParser, CountsLinesAcrossEveryKindOfLineEnd) {
    // CR LF counts once; lone CR, LF, VT, FF, NEL, LS and PS each end a line.
    const std::string text =
        "FILE \"a.wav\" WAVE\r\nTRACK 01 AUDIO\r\x0B\x0C\xC2\x85\xE2\x80\xA8\xE2\x80\xA9INDEX 01 00:60:00\n";
    const auto error = test::thrown<CueSheetError>([&] { (void)parse(text); });
    EXPECT_EQ(error.kind(), Kind::INDEX_InvalidSecondValue);
    EXPECT_EQ(error.line(), 8);
}

TEST(CueSheetParser, IndexTimes) {
    EXPECT_EQ(CueSheet::parseIndexTime("  99:59:74\t", 1), 99 * 2'646'000 + 59 * 44'100 + 74 * 588);
    EXPECT_EQ(CueSheet::parseIndexTime("0:0:0", 1), 0);
    const std::vector<std::pair<Kind, std::vector<std::string>>> refused{
        {Kind::INDEX_InvalidMinuteValue,
         {"100:00:00", "00-02-00", "-1:00:00", "x", "99999999999999999999999:00:00"}},
        {Kind::INDEX_InvalidSecondValue, {"00:60:00", "00:-1:00", "00:00"}},
        {Kind::INDEX_InvalidBlockValue, {"00:02:75", "00:00:"}},
        {Kind::commandHasNoArgument, {"   "}},
    };
    test::CapturedLog log;
    std::size_t count = 0;
    for (const auto& [kind, texts] : refused)
        for (const auto& text : texts) {
            SCOPED_TRACE(text);
            const auto error = test::thrown<CueSheetError>([&] { (void)CueSheet::parseIndexTime(text, 12); });
            EXPECT_EQ(error.kind(), kind);
            EXPECT_EQ(error.line(), 12);
            ++count;
        }
    EXPECT_EQ(log.lines().size(), count) << "one line logged for each";
}

// --- refusals ------------------------------------------------------------------------------------

struct Refusal {
    std::string name;
    std::string text;
    Kind kind;
    std::optional<long> line;
    std::optional<std::string> value = {};
};

class CueSheetRefusal : public testing::TestWithParam<Refusal> {};

TEST_P(CueSheetRefusal, ThrowsTheKindWithItsLineAndLogsIt) {
    const Refusal& refusal = GetParam();
    test::CapturedLog log;
    const auto error = test::thrown<CueSheetError>([&] { (void)parse(refusal.text); });
    EXPECT_EQ(kindName(error.kind()), kindName(refusal.kind));
    EXPECT_EQ(error.line(), refusal.line);
    if (refusal.value) {
        EXPECT_EQ(error.value(), refusal.value);
    }
    EXPECT_THAT(log.lines().back(), HasSubstr("⁉️ Syntax Error"));
}

const std::vector<Refusal> refusals{
    {"Empty", "", Kind::invalidCueSheet_NoAudioFile, std::nullopt},
    {"OnlyComments", "\n\nREM COMMENT x\nFLAGS DCP\n", Kind::invalidCueSheet_NoAudioFile, std::nullopt},
    {"FileWithoutQuotes", "FILE a.wav WAVE\n", Kind::FILE_InvalidAudioFileName, 1, "a.wav WAVE"},
    {"FileOfTypeMp3", "\nFILE \"a.mp3\" MP3\n", Kind::FILE_InvalidFileType, 2, "MP3"},
    {"FileWithoutType", "FILE \"a.wav\"\n", Kind::FILE_InvalidFileType, 1, ""},
    {"TrackQuoted", file + "TRACK \"01\" AUDIO\n", Kind::TRACK_InvalidNumberValue, 2, "01"},
    {"TrackNotANumber", file + "TRACK one AUDIO\n", Kind::TRACK_InvalidNumberValue, 2, "one"},
    {"TrackNegative", file + "TRACK -1 AUDIO\n", Kind::TRACK_InvalidNumberValue_Negative, 2, "-1"},
    {"TrackZero", file + "TRACK 0 AUDIO\n", Kind::TRACK_InvalidNumberValue_Zero, 2, "0"},
    {"Track100", file + "TRACK 100 AUDIO\n", Kind::TRACK_InvalidNumberValue_Above99, 2, "100"},
    {"TrackGap", file + track1 + "INDEX 01 00:00:00\nTRACK 03 AUDIO\n",
     Kind::TRACK_InvalidNumberValue_InconsistantWithNumberOfTracks, 4, "03"},
    {"TrackWithoutType", file + "TRACK 01\n", Kind::TRACK_UnknownType, 2},
    {"TrackCdg", file + "TRACK 01 CDG\n", Kind::TRACK_UnknownType, 2, "CDG"},
    {"TrackMode2Of2336", file + "TRACK 01 MODE2/2336\n", Kind::TRACK_UnknownType, 2, "MODE2/2336"},
    {"IndexQuoted", file + track1 + "INDEX \"01\" 00:00:00\n", Kind::TRACK_InvalidNumberValue, 3, "01"},
    {"IndexBeforeTrack", file + "INDEX 01 00:00:00\n", Kind::INDEX_IndexBeforeTrack, 2},
    {"IndexWithoutNumber", file + track1 + "INDEX x 00:00:00\n", Kind::INDEX_IndexBeforeTrack, 3},
    {"IndexWithoutTime", file + track1 + "INDEX 01\n", Kind::INDEX_InvalidValue_NotFound, 3},
    {"IndexBadFrames", file + track1 + "INDEX 01 00:02:75\n", Kind::INDEX_InvalidBlockValue, 3},
    {"IndexNegative", file + track1 + "INDEX -1 00:00:00\n", Kind::INDEX_InvalidNumber_Negative, 3},
    {"Index00AfterIndex01", file + track1 + "INDEX 01 00:00:00\nINDEX 00 00:00:00\n",
     Kind::INDEX_Index00AfterOtherIndex, 4},
    {"Index00BeforeFile", track1 + "INDEX 00 00:00:00\n", Kind::INDEX_IndexBeforeAudioFile, 2},
    {"Index01BeforeFile", track1 + "INDEX 01 00:00:00\n", Kind::INDEX_IndexBeforeAudioFile, 2},
    {"Index01AfterIndex02", file + track1 + "INDEX 01 00:00:00\nINDEX 02 00:01:00\nINDEX 01 00:02:00\n",
     Kind::INDEX_InvalidNumber_BiggerThanExpected, 5},
    {"IndexSkipsANumber", file + track1 + "INDEX 01 00:00:00\nINDEX 03 00:01:00\n",
     Kind::INDEX_InvalidNumber_BiggerThanExpected, 4},
    {"Index100", file + track1 + "INDEX 01 00:00:00\nINDEX 100 00:01:00\n", Kind::INDEX_InvalidNumber_Above99,
     4},
    {"PregapAtTheVeryEnd", file + track1 + "PREGAP  ", Kind::INDEX_InvalidValue_NotFound, 3},
    {"PostgapBadSeconds", file + track1 + "POSTGAP 00:61:00\n", Kind::INDEX_InvalidSecondValue, 3},
    {"ReplayGainNotANumber", file + "REM REPLAYGAIN_ALBUM_GAIN loud\n", Kind::REPLAYGAIN_InvalidValue, 2,
     "loud"},
    {"ReplayPeakNotANumber", file + track1 + "REM REPLAYGAIN_TRACK_PEAK peak\n",
     Kind::REPLAYGAIN_InvalidValue, 3, "peak"},
    {"DiscIdAtTheVeryEnd", file + "REM DISCID", Kind::commandHasNoArgument, 2, "DISCID"},
    {"CatalogAtTheVeryEnd", file + "CATALOG", Kind::commandHasNoArgument, 2, "CATALOG"},
    {"IsrcAtTheVeryEnd", file + track1 + "ISRC", Kind::commandHasNoArgument, 3, "ISRC"},
    {"DateAtTheVeryEnd", file + "REM DATE   ", Kind::commandHasNoArgument, 2, "DATE"},
};

INSTANTIATE_TEST_SUITE_P(EveryKind, CueSheetRefusal, testing::ValuesIn(refusals),
                         [](const testing::TestParamInfo<Refusal>& parameter) {
                             return parameter.param.name;
                         });

TEST(CueSheetParser, ArgumentlessCommandsFollowedByALineEndAreOnlyLogged) {
    test::CapturedLog log;
    const auto sheet = parse(file + "REM DISCID\nCATALOG  \nISRC\nREM DATE\nREM COMPILATION\nTITLE\n" +
                             track1 + "INDEX 01 00:00:00\n");
    EXPECT_EQ(sheet.tracks.size(), 1u);
    EXPECT_FALSE(sheet.metadata->catalogueNumber);
    EXPECT_FALSE(sheet.metadata->releaseType);
    EXPECT_TRUE(log.contains("The command 'CATALOG' has no argument"));
}

TEST(CueSheetParser, ReadsFromAFileAndEncodesToJsonAndBack) {
    test::TemporaryDirectory directory;
    std::string bytes = "\xFF\xFE"; // UTF-16 little endian
    for (char c :
         std::string("FILE \"\xE9.wav\" WAVE\nTRACK 01 AUDIO\nINDEX 01 00:00:00\nREM DATE 2001/4/9\n"))
        bytes += {c, '\0'};
    const auto path = directory.write("Ünïcode.cue", bytes);
    const CueSheet sheet(Url::fileURL(path));
    EXPECT_THAT(sheet.filenames, ElementsAre("é.wav"));
    EXPECT_EQ(sheet.url.path(), path);

    const nlohmann::json json = sheet;
    EXPECT_EQ(json["url"], sheet.url.absoluteString());
    EXPECT_EQ(json["id"], sheet.id.uuidString());
    EXPECT_EQ(json["tracks"][0]["chapters"][0]["position"], 0);
    EXPECT_FALSE(json["tracks"][0].contains("fakePregap"));
    EXPECT_EQ(json["metadata"]["initialDate"]["components"]["month"], 4);
    EXPECT_EQ(json.dump().find("null"), std::string::npos);
    EXPECT_EQ(nlohmann::json::parse(json.dump()).get<CueSheet>(), sheet);
}

} // namespace
} // namespace lorvan
