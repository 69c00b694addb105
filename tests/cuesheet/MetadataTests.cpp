#include "cuesheet/AudioMetadata.hpp"
#include "cuesheet/CueSheet.hpp"
#include "cuesheet/CueSheetError.hpp"
#include "cuesheet/CueSheetJson.hpp"
#include "support/TestSupport.hpp"

#include <gtest/gtest.h>
#include <tuple>

namespace lorvan {
namespace {

using Kind = CueSheetError::Kind;
using Names = std::set<std::string>;

AudioDiscDate::Components components(const AudioDiscDate& date) {
    return date.components;
}

TEST(AudioDiscDate, ParsesPartialAndFullDates) {
    test::CapturedLog quiet;
    EXPECT_EQ(AudioDiscDate::parse("1999").description(), "1999");
    EXPECT_FALSE(AudioDiscDate::parse("1999").components.month);
    EXPECT_EQ(AudioDiscDate::parse("1999-07").description(), "1999-07");
    EXPECT_EQ(AudioDiscDate::parse("1999/07/14").description(), "1999-07-14");
    EXPECT_EQ(components(AudioDiscDate::parse("1999-7-14")), components(AudioDiscDate::parse("1999/07/14")));
    EXPECT_EQ(AudioDiscDate::parse("  2001--//4 ").description(), "2001-04");
    EXPECT_EQ(AudioDiscDate::parse("1857").components.year, 1857);
    for (const char* text : {"2000-02-29", "2024-02-29", "2001-04-30", "2001-02-28"})
        EXPECT_EQ(AudioDiscDate::parse(text).description(), text);
    // Day 31 exists in seven months only.
    for (int month = 1; month <= 12; ++month) {
        const std::string text = "2001-" + std::to_string(month) + "-31";
        if (std::set{1, 3, 5, 7, 8, 10, 12}.contains(month)) {
            EXPECT_EQ(AudioDiscDate::parse(text).components.day, 31) << text;
        } else {
            EXPECT_THROW((void)AudioDiscDate::parse(text), CueSheetError) << text;
        }
    }
}

TEST(AudioDiscDate, RefusesImpossibleDatesWithTheirKind) {
    const std::vector<std::pair<Kind, std::vector<std::string>>> refused{
        {Kind::commandHasNoArgument, {""}},
        {Kind::REM_DATE_InvalidValue_Year, {"1856", "-2000", "99999999999999999999"}},
        {Kind::REM_DATE_InvalidValue, {"July 1999", "1999-", "1999-07-"}},
        {Kind::REM_DATE_InvalidFormat, {"1999.07", "1999-07 14", "1999-07-14x"}},
        {Kind::REM_DATE_InvalidValue_Month, {"2001-13-01", "2001-00"}},
        {Kind::REM_DATE_InvalidValue_Day, {"2001-01-00", "2001-01-32"}},
        // Days that exist in some month or year, but not in this one.
        {Kind::REM_DATE_InconsistentValues,
         {"2001-04-31", "2023-02-29", "2001-02-29", "1900-02-29", "2000-02-30"}},
    };
    for (const auto& [kind, texts] : refused)
        for (const auto& text : texts) {
            SCOPED_TRACE(text);
            test::CapturedLog log;
            const auto error = test::thrown<CueSheetError>([&] { (void)AudioDiscDate::parse(text, 7); });
            EXPECT_EQ(kindName(error.kind()), kindName(kind));
            EXPECT_EQ(error.line(), 7);
            EXPECT_TRUE(log.contains("Syntax Error"));
        }
}

TEST(ReleaseType, DisplayTextsRoundTrip) {
    for (int i = 0; i <= static_cast<int>(AudioMetadata::ReleaseType::unknown); ++i) {
        const auto type = static_cast<AudioMetadata::ReleaseType>(i);
        EXPECT_EQ(releaseTypeFromDisplayText(displayText(type)), type);
    }
    EXPECT_FALSE(releaseTypeFromDisplayText("album"));
}

AudioMetadata withTracks(std::vector<std::optional<Names>> performers) {
    AudioMetadata metadata;
    metadata.tracksMetadata.emplace();
    for (auto& names : performers)
        metadata.tracksMetadata->emplace_back().performers = names;
    return metadata;
}

TEST(AudioMetadata, ReleaseArtistText) {
    AudioMetadata named;
    named.releasePerformers = Names{"B", "A"};
    EXPECT_EQ(named.releaseArtistText(), "A, B");
    EXPECT_EQ(AudioMetadata{}.releaseArtistText(), "[Unknown Artist]");
    EXPECT_EQ(withTracks({Names{"A"}}).releaseArtistText(), "[Unknown Artist]");
    EXPECT_EQ(withTracks({Names{"A"}, Names{"B"}}).releaseArtistText(), "≡ Various Artists ≡");
    EXPECT_EQ(withTracks({Names{"A"}, std::nullopt}).releaseArtistText(), "≡ Various Artists ≡");
    EXPECT_EQ(withTracks({std::nullopt, Names{"A"}}).releaseArtistText(), "≡ Various Artists ≡");
    // Agreeing tracks do not name the release.
    EXPECT_EQ(withTracks({Names{"A"}, Names{"A"}, Names{"A"}}).releaseArtistText(), "[Unknown Artist]");
    EXPECT_EQ(withTracks({std::nullopt, std::nullopt}).releaseArtistText(), "[Unknown Artist]");
}

TEST(AudioMetadataDeathTest, AnEmptyTrackListIsAProgrammingError) {
    AudioMetadata metadata;
    metadata.tracksMetadata.emplace();
    EXPECT_DEATH((void)metadata.releaseArtistText(), "never empty");
}

TEST(AudioMetadata, TrackArtistText) {
    auto metadata = withTracks({Names{"A", "B"}, std::nullopt});
    EXPECT_EQ(metadata.trackArtistText(0), "A, B");
    EXPECT_EQ(metadata.trackArtistText(1), "[Unknown Artist]");
    EXPECT_EQ(metadata.trackArtistText(2), "[Unknown Track]");
    EXPECT_EQ(metadata.trackArtistText(-1), "[Unknown Track]");
    EXPECT_EQ(AudioMetadata{}.trackArtistText(0), "[Unknown Track]");
    auto anonymous = withTracks({std::nullopt, std::nullopt});
    anonymous.releasePerformers = Names{"The Band"};
    EXPECT_EQ(anonymous.trackArtistText(1), "The Band");
}

const char* const fullSheet =
    "REM GENRE Jazz\nREM DATE 1959-08-17\nREM DISCNUMBER 2\nREM TOTALDISCS 3\nREM COMPILATION TRUE\n"
    "REM REPLAYGAIN_ALBUM_GAIN -7.25 dB\nREM REPLAYGAIN_ALBUM_PEAK 0.988\nCATALOG 5099749522425\n"
    "PERFORMER \"Quintet, Leader , Quintet\"\nREM CONDUCTOR \"Maestro\"\nREM REMIXER Big Remixer\n"
    "TITLE \"Blue Release\"\nFILE \"disc.flac\" WAVE\n"
    "  TRACK 01 AUDIO\n    TITLE \"So What\"\n    PERFORMER Leader\n    SONGWRITER \"Writer One\"\n"
    "    REM COMPOSER \"Writer Two\"\n    REM FEATURING \"Guest\"\n    REM CONDUCTOR \"Track Maestro\"\n"
    "    REM REMIXER \"Remix One, Remix Two\"\n    ISRC USSM15900113\n"
    "    REM REPLAYGAIN_TRACK_GAIN +1.5 dB\n    REM REPLAYGAIN_TRACK_PEAK .5\n    INDEX 01 00:00:00\n"
    "  TRACK 02 AUDIO\n    REM BONUS\n    REM DATE 2001-02-29\n    INDEX 01 09:22:00\n"
    "  TRACK 03 AUDIO\n    REM EXTRATRACKS\n    REM DISCNUMBER two\n    INDEX 01 14:00:00\n";

TEST(CueSheetMetadata, FillsTheReleaseBeforeTheFirstTrackAndTracksAfter) {
    test::CapturedLog log;
    const auto sheet = CueSheet::parse(fullSheet, Url::fileURL("/tmp/blue.cue"));
    ASSERT_TRUE(sheet.metadata);
    const AudioMetadata& m = *sheet.metadata;
    EXPECT_EQ(m.releaseTitle, "Blue Release");
    EXPECT_EQ(m.releasePerformers, (Names{"Leader", "Quintet"}));
    EXPECT_EQ(m.releaseConductors, Names{"Maestro"});
    EXPECT_EQ(m.releaseRemixers, Names{"Big Remixer"});
    EXPECT_EQ(m.catalogueNumber, "5099749522425");
    EXPECT_EQ(m.releaseType, AudioMetadata::ReleaseType::compilation);
    EXPECT_EQ(std::tuple(m.discNumber, m.totalDiscs, m.firstBonusTrackIndex, m.firstExtraTrackIndex),
              std::tuple(2, 3, 2, 3));
    EXPECT_EQ(std::tuple(m.discGain, m.discPeak), std::tuple(-7.25, 0.988));
    ASSERT_TRUE(m.initialDate);
    EXPECT_EQ(m.initialDate->description(), "1959-08-17"); // the bad date later leaves it alone
    EXPECT_EQ(m.editionDate, m.initialDate);

    ASSERT_EQ(m.tracksMetadata->size(), 3u);
    const AudioTrackMetadata& first = m.tracksMetadata->front();
    EXPECT_EQ(first.title, "So What");
    EXPECT_EQ(first.performers, Names{"Leader"});
    EXPECT_EQ(first.composers, (Names{"Writer One", "Writer Two"}));
    EXPECT_EQ(first.featuring, Names{"Guest"});
    EXPECT_EQ(first.conductors, Names{"Track Maestro"});
    EXPECT_EQ(first.remixers, (Names{"Remix One", "Remix Two"}));
    EXPECT_EQ(std::tuple(first.isrc, first.gain, first.peak), std::tuple("USSM15900113", 1.5, 0.5));
    EXPECT_EQ(m.tracksMetadata->at(1), AudioTrackMetadata{});

    for (const char* line :
         {"Release Conductor(s)", "Conductor(s) ", "Release Remixer(s)", "Remixer(s) ", "Disc Catalog",
          "Replay gain", ": -7.25 dB", ": 0.99", "Bonus Tracks", "Extra Tracks", "Release type",
          ": Compilation", "The date has inconsitent values."})
        EXPECT_TRUE(log.contains(line)) << line;
}

TEST(CueSheetMetadata, EncodesEnumerationsSetsAndDatesAndDecodesToAnEqualValue) {
    test::CapturedLog quiet;
    const auto sheet = CueSheet::parse(fullSheet, Url::fileURL("/tmp/blue.cue"));
    const nlohmann::json json = *sheet.metadata;
    EXPECT_EQ(json["releaseType"], "Compilation");
    EXPECT_EQ(json["releasePerformers"], nlohmann::json::array({"Leader", "Quintet"}));
    EXPECT_EQ(json["initialDate"]["components"]["year"], 1959);
    EXPECT_EQ(json["initialDate"]["components"]["day"], 17);
    EXPECT_FALSE(json.contains("barcode"));
    EXPECT_EQ(json["tracksMetadata"][1], nlohmann::json::object());
    EXPECT_EQ(json.get<AudioMetadata>(), *sheet.metadata);

    AudioMetadata unknown;
    unknown.releaseType = AudioMetadata::ReleaseType::unknown;
    const nlohmann::json encodedUnknown = unknown;
    EXPECT_EQ(encodedUnknown["releaseType"], "Unknown Rlease Type");
    EXPECT_THROW((void)nlohmann::json({{"releaseType", "Mixtape"}}).get<AudioMetadata>(),
                 nlohmann::json::exception);
}

} // namespace
} // namespace lorvan
