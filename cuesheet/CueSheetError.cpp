#include "cuesheet/CueSheetError.hpp"

#include "core/LogEntry.hpp"

#include <array>
#include <string_view>

namespace lorvan {
namespace {

struct KindTexts {
    std::string_view name;
    std::optional<std::string_view> description;
    std::optional<std::string_view> reason;
};

constexpr std::optional<std::string_view> none = std::nullopt;

// In the order of the Kind enumeration; the texts are the system's own, misspellings included.
constexpr std::array<KindTexts, CueSheetError::kindCount> kindTexts{{
    {"dummy", "Dummy Error", none},
    {"UnknownError", "UnknownError", none},
    {"commandHasNoArgument", "No argument", none}, // reason built from the value
    {"notAFileURL", "The URL provided is not a file URL", none},
    {"invalidValue", "Invalid Value", none},
    {"invalidCueSheet_NoAudioFile", "Invalid Cue Sheet file", "No audio file found"},
    {"invalidCueSheet_NoAudioTrack", "Invalid Cue Sheet file", "No audio track found"},
    {"FILE_UnknownAudioFileFormat", "Unsupported Audio File Format",
     "The file format is unknown or not supported"},
    {"FILE_InvalidFileType", "Unsupported Audio File Type", "FILE_InvalidFileType"},
    {"FILE_InvalidAudioFileName", "FILE_InvalidAudioFileName", "FILE_InvalidAudioFileName"},
    {"TRACK_UnknownType", "Unknown Track Type", none}, // reason built from the value
    {"TRACK_Invalid", "Invalid Track", "Invalid Track"},
    {"TRACK_InvalidNumberValue", "Invalid track number", "Invalid value"},
    {"TRACK_InvalidNumberValue_NotFound", "Invalid track number", "Track number not found."},
    {"TRACK_InvalidNumberValue_Negative", "Invalid track number", "Negative track number."},
    {"TRACK_InvalidNumberValue_Zero", "Invalid track number", "Nil track number."},
    {"TRACK_InvalidNumberValue_Above99", "Invalid track number",
     "The Track number is above 99 which violates the CDDA standard."},
    {"TRACK_InvalidNumberValue_InconsistantWithNumberOfTracks", "Invalid track number",
     "Track number inconsistant with previous one"},
    {"INDEX_InvalidValue", "Invalid Index", "The index value in invalid."},
    {"INDEX_InvalidValue_NotFound", "Invalid Index", "The index value is absent."},
    {"INDEX_InvalidNumber_Negative", "Invalid Chapter (INDEX) Number", "The chapter number is negative."},
    {"INDEX_InvalidNumber_BiggerThanExpected", "Invalid Chapter (INDEX) Number",
     "The chapter number is bigger than expected."},
    {"INDEX_InvalidNumber_Above99", "Invalid Chapter (INDEX) Number",
     "The chapter number is above 99 which violates the CDDA standard."},
    {"INDEX_InvalidSeparator", "INDEX_InvalidSeparator", "INDEX_InvalidSeparator"},
    {"INDEX_InvalidFormat", "INDEX_InvalidFormat", "INDEX_InvalidFormat"},
    {"INDEX_InvalidMinuteValue", "Invalid Chapter (INDEX)", "The chapter 'minutes' value is invalid."},
    {"INDEX_InvalidSecondValue", "Invalid Chapter (INDEX)", "The chapter 'seconds' value is invalid."},
    {"INDEX_InvalidBlockValue", "Invalid Chapter (INDEX)", "The chapter 'blocks' value is invalid."},
    {"INDEX_IndexBeforeTrack", "Invalid Cue Sheet file",
     "An 'INDEX' command was found before a 'TRACK' command."},
    {"INDEX_IndexBeforeAudioFile", "Invalid Cue Sheet file",
     "An 'INDEX' command was found before a 'FILE' command."},
    {"INDEX_Index00AfterOtherIndex", "Invalid Cue Sheet file",
     "An 'INDEX 00' command was found after other 'INDEX' command of the same track."},
    {"REM_DATE_InvalidSeparator", "Invalid Date", "REM_DATE_InvalidSeparator"},
    {"REM_DATE_InvalidFormat", "Invalid Date", "The date format is invalid."},
    {"REM_DATE_InvalidValue", "Invalid Date", "The date value is invalid."},
    {"REM_DATE_InvalidValue_Year", "Invalid Date", "The date has an invalid 'year' value."},
    {"REM_DATE_InvalidValue_Month", "Invalid Date", "The date has an invalid 'month' value."},
    {"REM_DATE_InvalidValue_Day", "Invalid Date", "The date has an invalid 'day' value."},
    {"REM_DATE_InconsistentValues", "Invalid Date", "The date has inconsitent values."},
    {"REM_DISCID_EmptyValue", "REM_DISCID_EmptyValue", "REM_DISCID_EmptyValue"},
    {"REM_DISCNUMBER_InvalidValue", "REM_DISCNUMBER_InvalidValue", "REM_DISCNUMBER_InvalidValue"},
    {"REM_TOTALDISCS_InvalidValue", "REM_TOTALDISCS_InvalidValue", "REM_TOTALDISCS_InvalidValue"},
    {"REPLAYGAIN_InvalidValue", "Invalid Replay Gain", "The replay gain value is invalid."},
    {"PEAKAMPLITUDE_InvalidValue", "Invalid Peak Amplitude", "The peak amplitude value is invalid."},
}};

const KindTexts& textsOf(CueSheetError::Kind kind) {
    return kindTexts[static_cast<std::size_t>(kind)];
}

std::optional<std::string> owned(std::optional<std::string_view> text) {
    return text ? std::optional<std::string>(std::string(*text)) : std::nullopt;
}

std::optional<std::string> reasonFor(CueSheetError::Kind kind, const std::optional<std::string>& value) {
    using Kind = CueSheetError::Kind;
    switch (kind) {
    case Kind::commandHasNoArgument:
        return "The cue sheet command '" + value.value_or("") + "' has no argument";
    case Kind::TRACK_UnknownType:
        return value ? "Track of type '" + *value + "' is not supported."
                     : std::string("Unsupported track type.");
    case Kind::TRACK_InvalidNumberValue:
    case Kind::TRACK_InvalidNumberValue_NotFound:
    case Kind::TRACK_InvalidNumberValue_Negative:
    case Kind::TRACK_InvalidNumberValue_Zero:
    case Kind::TRACK_InvalidNumberValue_Above99:
    case Kind::TRACK_InvalidNumberValue_InconsistantWithNumberOfTracks: {
        // Show the user the number that was rejected.
        std::string reason(*textsOf(kind).reason);
        if (value) reason += " (" + *value + ").";
        return reason;
    }
    default:
        return owned(textsOf(kind).reason);
    }
}

} // namespace

std::string kindName(CueSheetError::Kind kind) {
    return std::string(textsOf(kind).name);
}

CueSheetError::CueSheetError(Kind kind, std::optional<long> line, std::optional<std::string> value)
    : LocalizedError(std::string(*textsOf(kind).description))
    , kind_(kind)
    , line_(line)
    , value_(std::move(value))
    , errorDescription_(owned(textsOf(kind).description))
    , failureReason_(reasonFor(kind, value_))
    , recoverySuggestion_(std::string()) {}

std::string CueSheetError::kindName() const {
    return lorvan::kindName(kind_);
}

void CueSheetError::log() const {
    std::string text = line_ ? "Line " + std::to_string(*line_) + ": " : std::string();
    text += errorDescription_.value_or("");
    if (failureReason_) text += " | '" + *failureReason_ + "'";
    LogEntry("⦿", "⁉️ Syntax Error", text, "-").print();
}

} // namespace lorvan
