#pragma once

#include "core/Url.hpp"
#include "core/Uuid.hpp"
#include "cuesheet/AudioMetadata.hpp"
#include "cuesheet/CueSheet.hpp"
#include "disc/AudioDiscData.hpp"
#include "disc/AudioDiscOnlineDataBaseID.hpp"
#include "disc/AudioDiscServices.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lorvan {

/// One playable index point of the disc, at an absolute disc frame.
struct AudioCue {
    enum class CueType { trackPregap, trackChapter, trackStart };

    Uuid id = Uuid::random();
    std::int64_t keyFrame = 0;
    /// 0-based position of the cue's track on the disc.
    long trackIndex = 0;
    /// The INDEX number: 0 pregap, 1 track start, 2 and above chapters.
    long chapter = 0;

    [[nodiscard]] CueType cueType() const {
        return chapter == 0   ? CueType::trackPregap
               : chapter == 1 ? CueType::trackStart
                              : CueType::trackChapter;
    }
};

struct AudioTrack {
    Uuid id = Uuid::random();
    Uuid discID;
    long index = 0;
    /// Indices into the disc's cues, ascending.
    std::vector<std::size_t> cueIndices;
};

/// Which tables of contents a disc renders.
enum class TOCMode { cues, tracksRipper, tracksMusicBrainz };

/// An audio CD as Lorvan models it: the files' audio on one frame axis, its cues grouped into
/// tracks, release metadata, identifiers and artwork. Built once by assembly, immutable after;
/// it may be shared with the player's queues. Only the audio data behind it is read.
class AudioDisc {
public:
    enum class TrackLengthMode { includingNextTrackPregap, excludingNextTrackPregap };

    struct Source {
        enum class Kind { cueSheet, directory };
        Kind kind = Kind::cueSheet;
        Url url;
        [[nodiscard]] static Source cueSheet(Url url) { return {Kind::cueSheet, std::move(url)}; }
        [[nodiscard]] static Source directory(Url url) { return {Kind::directory, std::move(url)}; }
    };

    /// The common final step of assembly: validates the cues, groups tracks, computes the
    /// identifiers, finds artwork and logs the three tables of contents. Throws `AudioDiscError`
    /// `dummy` for no audio file, no cue, or cues out of order.
    AudioDisc(std::shared_ptr<AudioDiscData> data, std::vector<AudioCue> cues,
              std::optional<AudioMetadata> metadata, Source source, const AudioDiscServices& services);

    /// Builds a disc from a parsed cue sheet and the files it names (looked for beside it).
    /// Throws `AudioDiscError`, `AudioDiscDataError` or `LKOSStatus`, already logged.
    [[nodiscard]] static AudioDisc fromCueSheet(const CueSheet& cueSheet, const AudioDiscServices& services);
    /// Builds a disc of one track per audio file in `directory`, with metadata from their tags.
    [[nodiscard]] static AudioDisc fromDirectory(const Url& directory, const AudioDiscServices& services);

    /// Finds a cue sheet's FILE entry in the sheet's own folder, trying the other audio
    /// extensions when the name as written does not exist.
    [[nodiscard]] static Url resolveAudioFile(const std::string& fileName, const Url& cueSheetURL);
    /// The first existing base.extension in `directory`, base names first.
    [[nodiscard]] static std::optional<Url> findArtwork(const Url& directory,
                                                        const std::optional<std::string>& baseName);

    Uuid id = Uuid::random();
    std::shared_ptr<AudioDiscData> data;
    std::vector<AudioCue> cues;
    Source source;
    bool canBeCDDA = false;
    std::optional<AudioMetadata> metadata;
    std::vector<AudioTrack> tracks;
    std::optional<AudioDiscOnlineDataBaseID> onlineID;
    std::optional<Url> artworkURL;

    /// Frame of the track's INDEX 01 cue (its first or second cue), if it has one.
    [[nodiscard]] std::optional<std::int64_t> trackStartFrame(const AudioTrack& track) const;
    /// The track's first frame in tables: its INDEX 01, else its first cue.
    [[nodiscard]] std::int64_t trackTableStartFrame(const AudioTrack& track) const;
    /// Frames from the track's start to the next track's first cue (including the next
    /// track's pregap mode) or its INDEX 01 (excluding mode); the last track runs to the end.
    [[nodiscard]] std::int64_t trackLength(const AudioTrack& track, TrackLengthMode mode) const;
    /// The identifiers, absent for a directory disc, a disc that cannot be a CD or one without tracks.
    [[nodiscard]] std::optional<AudioDiscOnlineDataBaseID>
    computeOnlineID(const std::function<std::string(std::string_view)>& sha1Base64) const;
    [[nodiscard]] std::vector<std::string> tableOfContents(TOCMode mode, TrackLengthMode lengthMode) const;

    /// Cue queries by id; absent when the cue is not on this disc.
    [[nodiscard]] std::optional<std::size_t> cuePosition(const Uuid& cueID) const;
    [[nodiscard]] std::optional<std::int64_t> cueLastFrame(const Uuid& cueID) const;
    [[nodiscard]] std::optional<std::int64_t> cueKeySector(const Uuid& cueID) const;
    [[nodiscard]] std::optional<std::int64_t> cueLastSector(const Uuid& cueID) const;

    /// The audio extensions, the artwork base names and the artwork extensions, in search order.
    static constexpr std::array<std::string_view, 5> artworkBaseNames{"artwork", "cover", "image", "folder",
                                                                      "front"};
    static constexpr std::array<std::string_view, 8> artworkExtensions{"png",  "jpg", "jpeg", "heic",
                                                                       "heif", "hif", "webp", "gif"};
};

/// Release and track metadata from the tags of a directory's files, in file order; absent when
/// no file has a tag that maps.
[[nodiscard]] std::optional<AudioMetadata> metadataFromTags(const std::vector<AudioFileTags>& files);

} // namespace lorvan
