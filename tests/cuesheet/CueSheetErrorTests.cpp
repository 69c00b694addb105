#include "cuesheet/AudioDiscError.hpp"
#include "cuesheet/CueSheetError.hpp"
#include "support/TestSupport.hpp"

#include <gtest/gtest.h>

namespace lorvan {
namespace {

using Kind = CueSheetError::Kind;

TEST(CueSheetError, DomainUsesANoBreakSpace) {
    const CueSheetError error(Kind::dummy);
    EXPECT_EQ(error.cueSheet, "Cue\xC2\xA0Sheet");
    EXPECT_NE(error.cueSheet, "Cue Sheet");
    EXPECT_EQ(error.recoverySuggestion(), "");
    EXPECT_EQ(error.typeName(), "CueSheetError");
}

TEST(CueSheetError, KindsKeepTheirOrderNamesAndTexts) {
    EXPECT_EQ(static_cast<int>(Kind::PEAKAMPLITUDE_InvalidValue), CueSheetError::kindCount - 1);
    EXPECT_EQ(static_cast<int>(Kind::INDEX_Index00AfterOtherIndex), 30);
    EXPECT_EQ(kindName(Kind::TRACK_InvalidNumberValue_InconsistantWithNumberOfTracks),
              "TRACK_InvalidNumberValue_InconsistantWithNumberOfTracks");

    const auto texts = [](Kind kind, std::optional<std::string> value = std::nullopt) {
        const CueSheetError error(kind, 3, std::move(value));
        return std::pair(error.errorDescription(), error.failureReason());
    };
    using Texts = std::pair<std::optional<std::string>, std::optional<std::string>>;
    EXPECT_EQ(texts(Kind::dummy), (Texts{"Dummy Error", std::nullopt}));
    EXPECT_EQ(texts(Kind::invalidCueSheet_NoAudioFile), (Texts{"Invalid Cue Sheet file", "No audio file found"}));
    EXPECT_EQ(texts(Kind::REM_DATE_InvalidSeparator), (Texts{"Invalid Date", "REM_DATE_InvalidSeparator"}));
    EXPECT_EQ(texts(Kind::INDEX_InvalidSeparator), (Texts{"INDEX_InvalidSeparator", "INDEX_InvalidSeparator"}));
    EXPECT_EQ(texts(Kind::REM_DATE_InconsistentValues), (Texts{"Invalid Date", "The date has inconsitent values."}));
    EXPECT_EQ(texts(Kind::INDEX_InvalidValue), (Texts{"Invalid Index", "The index value in invalid."}));
    EXPECT_EQ(texts(Kind::TRACK_UnknownType), (Texts{"Unknown Track Type", "Unsupported track type."}));
    EXPECT_EQ(texts(Kind::TRACK_UnknownType, "CDG").second, "Track of type 'CDG' is not supported.");
    EXPECT_EQ(texts(Kind::commandHasNoArgument, "DATE").second, "The cue sheet command 'DATE' has no argument");
    EXPECT_EQ(texts(Kind::REM_DISCID_EmptyValue), (Texts{"REM_DISCID_EmptyValue", "REM_DISCID_EmptyValue"}));
}

TEST(CueSheetError, TrackNumberReasonsShowTheRejectedNumber) {
    EXPECT_EQ(CueSheetError(Kind::TRACK_InvalidNumberValue_Above99, 1, "100").failureReason(),
              "The Track number is above 99 which violates the CDDA standard. (100).");
    EXPECT_EQ(CueSheetError(Kind::TRACK_InvalidNumberValue_InconsistantWithNumberOfTracks, 1, "3").failureReason(),
              "Track number inconsistant with previous one (3).");
    EXPECT_EQ(CueSheetError(Kind::TRACK_InvalidNumberValue_Zero, 1).failureReason(), "Nil track number.");
    // Other kinds never append the value.
    EXPECT_EQ(CueSheetError(Kind::INDEX_InvalidBlockValue, 1, "00:00:75").failureReason(),
              "The chapter 'blocks' value is invalid.");
}

TEST(CueSheetError, LogsALabelledSyntaxErrorLine) {
    test::CapturedLog log;
    CueSheetError(Kind::INDEX_InvalidSecondValue, 14, "00:60:00").log();
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_TRUE(log.lines()[0].starts_with("⦿ ⁉️ Syntax Error -"));
    EXPECT_NE(log.text().find(": Line 14: Invalid Chapter (INDEX) | 'The chapter 'seconds' value is invalid.'"),
              std::string::npos);
}

TEST(AudioDiscError, TextsKeepTheirSpelling) {
    using DiscKind = AudioDiscError::Kind;
    EXPECT_EQ(AudioDiscError(DiscKind::audioFileNotFound, "01.wav").failureReason(),
              "The audio file '01.wav' isn't in the same directory as the cue cheet file.");
    EXPECT_EQ(AudioDiscError(DiscKind::dummy).errorDescription(), "<AudioDiscError Placeholder>");
    EXPECT_EQ(AudioDiscError(DiscKind::dummy).failureReason(), "");
    EXPECT_EQ(AudioDiscError(DiscKind::noAudioFileInDirectory).failureReason(),
              "No audio file we found in the chosen folder.");
    EXPECT_EQ(AudioDiscError(DiscKind::innacurateDiscFromMultiplePregapOrPostgap).errorDescription(),
              "Innacurate Disc");
    EXPECT_EQ(AudioDiscError(DiscKind::cueSheetFileNotFound, "a.cue").value(), "a.cue");
    EXPECT_EQ(AudioDiscError(DiscKind::directoryDoesntExist).kindName(), "directoryDoesntExist");
}

} // namespace
} // namespace lorvan
