#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace lorvan {

/// A date that may be known only in part: a year, a year and a month, or a full date.
struct AudioDiscDate {
    /// A calendar date-components record, as the platform's date components would hold it.
    struct Components {
        std::string calendar = "gregorian";
        std::string timeZone = "UTC";
        int year = 0;
        std::optional<int> month;
        std::optional<int> day;
        friend bool operator==(const Components&, const Components&) = default;
    };

    /// Months by length; February also depends on the year.
    enum class MonthType { february, thirty, thirtyOne };

    Components components;

    /// Parses a DATE value ("1999", "1999-07", "1999/07/14"; runs of "-" or "/" separate).
    /// Throws `CueSheetError` with `line` (logged before it is thrown).
    [[nodiscard]] static AudioDiscDate parse(std::string_view text, std::optional<long> line = std::nullopt);
    [[nodiscard]] static MonthType monthType(int month);
    [[nodiscard]] static bool isLeapYear(int year);

    /// "1999", "1999-07" or "1999-07-14".
    [[nodiscard]] std::string description() const;

    friend bool operator==(const AudioDiscDate&, const AudioDiscDate&) = default;
};

/// Facts about one track of a release. Every field is optional.
struct AudioTrackMetadata {
    std::optional<std::string> isrc;
    std::optional<std::string> title;
    std::optional<std::string> subtitle;
    std::optional<std::set<std::string>> chaptersTitle;
    std::optional<double> gain;
    std::optional<double> peak;
    std::optional<std::set<std::string>> performers;
    std::optional<std::set<std::string>> featuring;
    std::optional<std::set<std::string>> composers;
    std::optional<std::set<std::string>> conductors;
    std::optional<std::set<std::string>> remixers;

    friend bool operator==(const AudioTrackMetadata&, const AudioTrackMetadata&) = default;
};

/// Facts about a release and its disc. Every field is optional.
struct AudioMetadata {
    enum class ReleaseType {
        demo,
        album,
        single,
        ep,
        liveAlbum,
        concertRecording,
        anthology,
        compilation,
        soundtrack,
        djMix,
        remix,
        bootleg,
        interview,
        unknown,
    };

    std::optional<std::string> SIDMasteringCode;
    std::optional<std::string> SIDMouldCode;
    std::optional<std::string> recordLabel;
    std::optional<std::string> catalogueNumber;
    std::optional<std::string> barcode;
    std::optional<AudioDiscDate> initialDate;
    std::optional<AudioDiscDate> editionDate;
    std::optional<ReleaseType> releaseType;
    std::optional<std::string> releaseTitle;
    std::optional<std::string> releaseSubtitle;
    std::optional<std::set<std::string>> releasePerformers;
    std::optional<std::set<std::string>> releaseFeaturing;
    std::optional<std::set<std::string>> releaseComposers;
    std::optional<std::set<std::string>> releaseConductors;
    std::optional<std::set<std::string>> releaseRemixers;
    std::optional<long> discNumber;
    std::optional<long> totalDiscs;
    std::optional<std::string> discTitle;
    std::optional<double> discGain;
    std::optional<double> discPeak;
    std::optional<std::vector<AudioTrackMetadata>> tracksMetadata;
    std::optional<long> firstBonusTrackIndex;
    std::optional<long> firstExtraTrackIndex;

    friend bool operator==(const AudioMetadata&, const AudioMetadata&) = default;

    /// The release's performers, "≡ Various Artists ≡" when the tracks disagree, else "[Unknown Artist]".
    [[nodiscard]] std::string releaseArtistText() const;
    /// The performers of the track at zero-based `position`, with the fallbacks a performer line shows.
    [[nodiscard]] std::string trackArtistText(long position) const;
};

/// Display text of a release type ("Live Album", "Unknown Rlease Type", ...).
[[nodiscard]] std::string displayText(AudioMetadata::ReleaseType type);
/// The release type whose display text is exactly `text`.
[[nodiscard]] std::optional<AudioMetadata::ReleaseType> releaseTypeFromDisplayText(std::string_view text);

/// Names joined for display: in set order, separated by ", ".
[[nodiscard]] std::string joinedNames(const std::set<std::string>& names);

inline constexpr const char* unknownArtistText = "[Unknown Artist]";
inline constexpr const char* variousArtistsText = "≡ Various Artists ≡";
inline constexpr const char* unknownTrackText = "[Unknown Track]";
inline constexpr const char* performedByText = "Performed by “";

} // namespace lorvan
