#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace lorvan {

/// The identifiers under which online databases know an audio CD.
struct AudioDiscOnlineDataBaseID {
    std::string musicBrainz;
    std::uint32_t arV1Value = 0;
    std::uint32_t arV2Value = 0;
    std::uint32_t cddbValue = 0;

    /// The layout of a disc as the identifiers see it, in 44.1 kHz frames.
    struct Layout {
        /// Each track's INDEX 01 frame, 0 for a track that has none.
        std::vector<std::int64_t> trackStartFrames;
        /// Total frames of the disc, artificial pregap included.
        std::int64_t discEndFrame = 0;
        /// The first track opens with its INDEX 00 (or an artificial pregap) cue.
        bool firstTrackStartsWithPregap = false;
    };

    /// All four identifiers of a disc with at least one track. `sha1Base64` digests the
    /// MusicBrainz text. Sums that do not fit 32 bits stop the process.
    [[nodiscard]] static AudioDiscOnlineDataBaseID
    compute(const Layout& layout, const std::function<std::string(std::string_view)>& sha1Base64);
    /// The text whose digest is the MusicBrainz ID: first and last track "%02X", lead-out and
    /// 99 track offsets "%08X", all with the 150-sector lead-in.
    [[nodiscard]] static std::string musicBrainzText(const Layout& layout);
    /// Standard base64 made URL-safe the MusicBrainz way: '+' → '.', '/' → '_', '=' → '-'.
    [[nodiscard]] static std::string musicBrainzEncoding(std::string base64);

    /// The lookup page of the disc ID.
    [[nodiscard]] std::string musicBrainzURL() const {
        return "https://musicbrainz.org/cdtoc/" + musicBrainz;
    }

    friend bool operator==(const AudioDiscOnlineDataBaseID&, const AudioDiscOnlineDataBaseID&) = default;
};

} // namespace lorvan
