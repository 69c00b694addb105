#pragma once

#include "core/Url.hpp"
#include "core/Uuid.hpp"
#include "cuesheet/AudioMetadata.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace lorvan {

/// One INDEX point of a track. `position` is in 44.1 kHz sample frames from the start of the
/// audio file that was current when the INDEX line was read (never rescaled to the file's rate).
struct CueSheetChapter {
    long index = 0;
    long audioFileIndex = 0;
    std::int64_t position = 0;
    friend bool operator==(const CueSheetChapter&, const CueSheetChapter&) = default;
};

/// One audio track of a cue sheet.
struct CueSheetTrack {
    /// How a track's pregap is laid down in the rip.
    enum class PregapType { none, prepended, appended, noncompliant, fake };

    Uuid id = Uuid::random();
    long index = 0;
    std::vector<CueSheetChapter> chapters;
    std::optional<std::int64_t> fakePregap;
    std::optional<std::int64_t> fakePostgap;

    friend bool operator==(const CueSheetTrack&, const CueSheetTrack&) = default;
};

/// A parsed cue sheet: its files, tracks and metadata, exactly as the sheet describes them.
/// A value; reading and parsing happen in the constructor, on the caller's thread.
struct CueSheet {
    /// How the disc was split into files.
    enum class RipStyle { range, files };

    Uuid id = Uuid::random();
    Url url;
    std::string contents;
    std::vector<std::string> filenames;
    std::vector<CueSheetTrack> tracks;
    std::optional<AudioMetadata> metadata;

    CueSheet() = default;
    /// Decodes and parses the file at `url`. Throws `TextFileDecoderError` when `url` is not a
    /// file URL, `CueSheetError` when the sheet is refused (already logged) and `AudioDiscError`
    /// `dummy` for a PREGAP followed by INDEX 00 in one track. Logs every line it reads.
    explicit CueSheet(const Url& url);

    /// Parses already decoded `text` as the sheet at `url`; throws as the constructor does.
    [[nodiscard]] static CueSheet parse(std::string text, const Url& url);

    /// Converts "mm:ss:ff" (trimmed of blanks) into 44.1 kHz sample frames; throws `CueSheetError`.
    [[nodiscard]] static std::int64_t parseIndexTime(std::string_view text, long line);

    friend bool operator==(const CueSheet&, const CueSheet&) = default;
};

[[nodiscard]] const char* localizationKey(CueSheetTrack::PregapType type);
[[nodiscard]] std::string localizedDescription(CueSheetTrack::PregapType type);
[[nodiscard]] const char* localizationKey(CueSheet::RipStyle style);
[[nodiscard]] const char* localizationCommentKey(CueSheet::RipStyle style);
[[nodiscard]] std::string localizedDescription(CueSheet::RipStyle style);

} // namespace lorvan
