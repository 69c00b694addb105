#include "cuesheet/AudioMetadata.hpp"

#include "core/FatalError.hpp"
#include "cuesheet/CueSheetError.hpp"
#include "cuesheet/TextScanner.hpp"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>

namespace lorvan {
namespace {

constexpr std::array<const char*, 14> releaseTypeTexts{
    "Demo",        "Album",      "Single", "EP",    "Live Album", "Concert Recording", "Anthology",
    "Compilation", "Soundtrack", "DJ Mix", "Remix", "Bootleg",    "Interview",         "Unknown Rlease Type",
};

[[noreturn]] void fail(CueSheetError::Kind kind, std::optional<long> line, std::string_view value) {
    throwLogged(CueSheetError(kind, line, std::string(value)));
}

/// The zone dates are stamped with: $TZ when set, else the system's zone, else UTC.
std::string currentTimeZone() {
    if (const char* zone = std::getenv("TZ"); zone && *zone) return *zone == ':' ? zone + 1 : zone;
    std::error_code ignored;
    const auto target = std::filesystem::read_symlink("/etc/localtime", ignored).string();
    if (const auto at = target.find("zoneinfo/"); at != std::string::npos) return target.substr(at + 9);
    return "UTC";
}

bool scanSeparators(TextScanner& scanner) {
    bool found = false;
    while (scanner.consume('-') || scanner.consume('/'))
        found = true;
    return found;
}

} // namespace

AudioDiscDate AudioDiscDate::parse(std::string_view text, std::optional<long> line) {
    using Kind = CueSheetError::Kind;
    const std::string_view trimmed = trimmedBlanks(text);
    if (trimmed.empty()) fail(Kind::commandHasNoArgument, line, "DATE");
    TextScanner scanner(trimmed);

    const auto year = scanner.scanInteger();
    if (!year) fail(Kind::REM_DATE_InvalidValue, line, trimmed);
    // Years beyond what a date component can hold are as wrong as years before 1857.
    if (*year <= 1856 || *year > std::numeric_limits<int>::max())
        fail(Kind::REM_DATE_InvalidValue_Year, line, trimmed);
    AudioDiscDate date;
    date.components.timeZone = currentTimeZone();
    date.components.year = static_cast<int>(*year);
    if (scanner.atEnd()) return date;

    // Month and day: a separator, then a number in range.
    const auto component = [&](long long highest, Kind outOfRange) {
        if (!scanSeparators(scanner)) fail(Kind::REM_DATE_InvalidFormat, line, trimmed);
        const auto value = scanner.scanInteger();
        if (!value) fail(Kind::REM_DATE_InvalidValue, line, trimmed);
        if (*value < 1 || *value > highest) fail(outOfRange, line, trimmed);
        return static_cast<int>(*value);
    };
    const int month = component(12, Kind::REM_DATE_InvalidValue_Month);
    date.components.month = month;
    if (scanner.atEnd()) return date;

    const int day = component(31, Kind::REM_DATE_InvalidValue_Day);
    switch (monthType(month)) {
    case MonthType::thirty:
        if (day == 31) fail(Kind::REM_DATE_InconsistentValues, line, trimmed);
        break;
    case MonthType::february:
        if (day > 29 || (day == 29 && !isLeapYear(date.components.year)))
            fail(Kind::REM_DATE_InconsistentValues, line, trimmed);
        break;
    case MonthType::thirtyOne:
        break;
    }
    date.components.day = day;
    if (!scanner.atEnd()) fail(Kind::REM_DATE_InvalidFormat, line, trimmed);
    return date;
}

AudioDiscDate::MonthType AudioDiscDate::monthType(int month) {
    switch (month) {
    case 2:
        return MonthType::february;
    case 4:
    case 6:
    case 9:
    case 11:
        return MonthType::thirty;
    default:
        return MonthType::thirtyOne;
    }
}

bool AudioDiscDate::isLeapYear(int year) {
    return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

std::string AudioDiscDate::description() const {
    char text[32];
    if (components.month && components.day)
        std::snprintf(text, sizeof text, "%04d-%02d-%02d", components.year, *components.month,
                      *components.day);
    else if (components.month)
        std::snprintf(text, sizeof text, "%04d-%02d", components.year, *components.month);
    else
        std::snprintf(text, sizeof text, "%04d", components.year);
    return text;
}

std::string displayText(AudioMetadata::ReleaseType type) {
    return releaseTypeTexts[static_cast<std::size_t>(type)];
}

std::optional<AudioMetadata::ReleaseType> releaseTypeFromDisplayText(std::string_view text) {
    for (std::size_t i = 0; i < releaseTypeTexts.size(); ++i)
        if (text == releaseTypeTexts[i]) return static_cast<AudioMetadata::ReleaseType>(i);
    return std::nullopt;
}

std::string joinedNames(const std::set<std::string>& names) {
    std::string text;
    for (const auto& name : names) {
        if (!text.empty()) text += ", ";
        text += name;
    }
    return text;
}

std::string AudioMetadata::releaseArtistText() const {
    if (releasePerformers) return joinedNames(*releasePerformers);
    if (!tracksMetadata || tracksMetadata->size() == 1) return unknownArtistText;
    if (tracksMetadata->empty()) fatalError("a release's track list is never empty when present");
    const auto& reference = tracksMetadata->front().performers;
    for (std::size_t i = 1; i < tracksMetadata->size(); ++i) {
        const auto& performers = (*tracksMetadata)[i].performers;
        if (performers.has_value() != reference.has_value()) return variousArtistsText;
        if (performers && joinedNames(*performers) != joinedNames(*reference)) return variousArtistsText;
    }
    // Tracks that agree do not name the release: only releasePerformers does.
    return unknownArtistText;
}

std::string AudioMetadata::trackArtistText(long position) const {
    if (!tracksMetadata || position < 0 || static_cast<std::size_t>(position) >= tracksMetadata->size())
        return unknownTrackText;
    const auto& track = (*tracksMetadata)[static_cast<std::size_t>(position)];
    if (track.performers) return joinedNames(*track.performers);
    for (const auto& other : *tracksMetadata)
        if (other.performers) return unknownArtistText;
    return releaseArtistText();
}

} // namespace lorvan
