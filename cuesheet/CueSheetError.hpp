#pragma once

#include "core/LocalizedError.hpp"

#include <optional>
#include <string>

namespace lorvan {

/// The error of the cue sheet reader and its date parser: a kind, the 1-based line and the
/// offending value, and the texts an alert shows. Every site that throws one logs it first.
class CueSheetError : public LocalizedError {
public:
    enum class Kind {
        dummy,
        UnknownError,
        commandHasNoArgument,
        notAFileURL,
        invalidValue,
        invalidCueSheet_NoAudioFile,
        invalidCueSheet_NoAudioTrack,
        FILE_UnknownAudioFileFormat,
        FILE_InvalidFileType,
        FILE_InvalidAudioFileName,
        TRACK_UnknownType,
        TRACK_Invalid,
        TRACK_InvalidNumberValue,
        TRACK_InvalidNumberValue_NotFound,
        TRACK_InvalidNumberValue_Negative,
        TRACK_InvalidNumberValue_Zero,
        TRACK_InvalidNumberValue_Above99,
        TRACK_InvalidNumberValue_InconsistantWithNumberOfTracks,
        INDEX_InvalidValue,
        INDEX_InvalidValue_NotFound,
        INDEX_InvalidNumber_Negative,
        INDEX_InvalidNumber_BiggerThanExpected,
        INDEX_InvalidNumber_Above99,
        INDEX_InvalidSeparator,
        INDEX_InvalidFormat,
        INDEX_InvalidMinuteValue,
        INDEX_InvalidSecondValue,
        INDEX_InvalidBlockValue,
        INDEX_IndexBeforeTrack,
        INDEX_IndexBeforeAudioFile,
        INDEX_Index00AfterOtherIndex,
        REM_DATE_InvalidSeparator,
        REM_DATE_InvalidFormat,
        REM_DATE_InvalidValue,
        REM_DATE_InvalidValue_Year,
        REM_DATE_InvalidValue_Month,
        REM_DATE_InvalidValue_Day,
        REM_DATE_InconsistentValues,
        REM_DISCID_EmptyValue,
        REM_DISCNUMBER_InvalidValue,
        REM_TOTALDISCS_InvalidValue,
        REPLAYGAIN_InvalidValue,
        PEAKAMPLITUDE_InvalidValue,
    };
    static constexpr int kindCount = 43;

    /// The domain label, "Cue Sheet" with a no-break space.
    static constexpr const char* domain = "Cue\u00A0Sheet";

    CueSheetError(Kind kind, std::optional<long> line = std::nullopt, std::optional<std::string> value = std::nullopt);

    const std::string cueSheet = domain;

    [[nodiscard]] Kind kind() const { return kind_; }
    [[nodiscard]] std::string typeName() const override { return "CueSheetError"; }
    [[nodiscard]] std::string kindName() const override;
    [[nodiscard]] std::optional<std::string> errorDescription() const override { return errorDescription_; }
    [[nodiscard]] std::optional<std::string> failureReason() const override { return failureReason_; }
    [[nodiscard]] std::optional<std::string> recoverySuggestion() const override { return recoverySuggestion_; }
    [[nodiscard]] std::optional<long> line() const override { return line_; }
    [[nodiscard]] std::optional<std::string> value() const override { return value_; }

    /// Writes the error to the console log under "⁉️ Syntax Error" with its line and description.
    void log() const override;

private:
    Kind kind_;
    std::optional<long> line_;
    std::optional<std::string> value_;
    std::optional<std::string> errorDescription_;
    std::optional<std::string> failureReason_;
    std::optional<std::string> recoverySuggestion_;
};

/// The case name of `kind`, e.g. "TRACK_UnknownType".
[[nodiscard]] std::string kindName(CueSheetError::Kind kind);

} // namespace lorvan
