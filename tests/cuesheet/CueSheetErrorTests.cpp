#include "cuesheet/CueSheetError.hpp"
#include "support/TestSupport.hpp"

#include <gtest/gtest.h>

namespace lorvan {
namespace {

using Kind = CueSheetError::Kind;

// The texts live in a table indexed by the kind, so kinds from its start, middle and end pin the
// table to the enumeration; the misspellings are the user-visible texts and stay.
TEST(CueSheetError, TextsFollowTheKindAndShowTheRejectedValue) {
    struct Row {
        Kind kind;
        std::optional<std::string> value, description, reason;
    };
    const Row rows[]{
        {Kind::dummy, {}, "Dummy Error", std::nullopt},
        {Kind::invalidCueSheet_NoAudioFile, {}, "Invalid Cue Sheet file", "No audio file found"},
        {Kind::commandHasNoArgument, "DATE", "No argument", "The cue sheet command 'DATE' has no argument"},
        {Kind::TRACK_UnknownType, {}, "Unknown Track Type", "Unsupported track type."},
        {Kind::TRACK_UnknownType, "CDG", "Unknown Track Type", "Track of type 'CDG' is not supported."},
        {Kind::TRACK_InvalidNumberValue_Zero, {}, "Invalid track number", "Nil track number."},
        {Kind::TRACK_InvalidNumberValue_Above99, "100", "Invalid track number",
         "The Track number is above 99 which violates the CDDA standard. (100)."},
        {Kind::TRACK_InvalidNumberValue_InconsistantWithNumberOfTracks, "3", "Invalid track number",
         "Track number inconsistant with previous one (3)."},
        {Kind::INDEX_InvalidValue, {}, "Invalid Index", "The index value in invalid."},
        {Kind::INDEX_InvalidBlockValue, "00:00:75", "Invalid Chapter (INDEX)",
         "The chapter 'blocks' value is invalid."},
        {Kind::REM_DATE_InvalidSeparator, {}, "Invalid Date", "REM_DATE_InvalidSeparator"},
        {Kind::REM_DATE_InconsistentValues, {}, "Invalid Date", "The date has inconsitent values."},
        {Kind::REM_DISCID_EmptyValue, {}, "REM_DISCID_EmptyValue", "REM_DISCID_EmptyValue"},
        {Kind::PEAKAMPLITUDE_InvalidValue,
         {},
         "Invalid Peak Amplitude",
         "The peak amplitude value is invalid."},
    };
    for (const auto& row : rows) {
        const CueSheetError error(row.kind, 3, row.value);
        SCOPED_TRACE(error.kindName());
        EXPECT_EQ(error.errorDescription(), row.description);
        EXPECT_EQ(error.failureReason(), row.reason);
    }
    EXPECT_EQ(kindName(Kind::PEAKAMPLITUDE_InvalidValue), "PEAKAMPLITUDE_InvalidValue");
}

TEST(CueSheetError, LogsALabelledSyntaxErrorLine) {
    test::CapturedLog log;
    CueSheetError(Kind::INDEX_InvalidSecondValue, 14, "00:60:00").log();
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_TRUE(log.lines()[0].starts_with("⦿ ⁉️ Syntax Error -"));
    EXPECT_NE(
        log.text().find(": Line 14: Invalid Chapter (INDEX) | 'The chapter 'seconds' value is invalid.'"),
        std::string::npos);
}

} // namespace
} // namespace lorvan
