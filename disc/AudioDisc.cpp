#include "disc/AudioDisc.hpp"

#include "core/Checked.hpp"
#include "core/CompactDisc.hpp"
#include "core/LogEntry.hpp"
#include "cuesheet/AudioDiscError.hpp"
#include "disc/LKOSStatus.hpp"
#include "timecode/Timecode.hpp"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <system_error>

namespace lorvan {
namespace {

namespace fs = std::filesystem;

bool pathExists(const fs::path& path) {
    std::error_code error;
    return fs::exists(path, error);
}

/// Whether `path` (after following links) is a plain file: what a folder holds besides that
/// (subfolders, dangling links, pipes, devices) is not audio, and reading a pipe blocks.
bool isRegularFile(const fs::path& path) {
    std::error_code error;
    return fs::is_regular_file(path, error);
}

/// The file at `url` if it is a regular file; a pipe, device or folder under an audio name is
/// refused before anything opens it.
Url regularAudioFile(const Url& url) {
    if (!isRegularFile(url.path()))
        throw AudioDiscError(AudioDiscError::Kind::notARegularFile, url.lastPathComponent());
    return url;
}

[[noreturn]] void refuseUnplayable(const std::string& reason) {
    log("Disc cannot play", reason);
    throwLogged(AudioDiscError(AudioDiscError::Kind::dummy));
}

std::string trackName(const CueSheetTrack& track) {
    return "Track " + std::string(track.index < 10 ? "0" : "") + std::to_string(track.index);
}

std::string indexName(long index) {
    return "INDEX " + std::string(index < 10 ? "0" : "") + std::to_string(index);
}

/// Refuses a sheet whose disc would not play as written: a track without INDEX 01 (it would
/// have no start), or an index point at or past the end of its file (it would land in the next
/// file or outside the disc, and the disc would play from the wrong place or not at all).
void checkPlayable(const CueSheet& sheet, const AudioDiscData& data) {
    for (const CueSheetTrack& track : sheet.tracks) {
        const bool hasStart = std::any_of(track.chapters.begin(), track.chapters.end(),
                                          [](const CueSheetChapter& chapter) { return chapter.index == 1; });
        if (!hasStart) refuseUnplayable(trackName(track) + " has no INDEX 01");
        for (const CueSheetChapter& chapter : track.chapters) {
            const auto file = static_cast<std::size_t>(chapter.audioFileIndex);
            if (chapter.audioFileIndex < 0 || file >= data.audioFiles().size())
                refuseUnplayable(trackName(track) + " " + indexName(chapter.index) + " names no audio file");
            const AudioFile& audio = *data.audioFiles()[file];
            if (chapter.position < audio.length()) continue;
            refuseUnplayable(trackName(track) + " " + indexName(chapter.index) + " at frame " +
                             std::to_string(chapter.position) + " is past the end of '" +
                             audio.url().lastPathComponent() + "' (" + std::to_string(audio.length()) +
                             " frames)");
        }
    }
}

std::string hex32(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "%08x", value);
    return text;
}

std::string formatted(const char* format, long long value) {
    char text[32];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::string timeText(std::int64_t position, std::int32_t rate) {
    return Timecode(position, rate).formatted(TimecodeFormat::Style::toc);
}

// A table whose rows line up under fixed header texts: the column widths are those of the
// header's cells between the " | " separators.
class Table {
public:
    Table(std::string title, std::string dashes, std::string units)
        : title_(std::move(title))
        , dashes_(std::move(dashes))
        , units_(std::move(units)) {
        std::size_t start = 0;
        for (;;) {
            const std::size_t bar = title_.find(" | ", start);
            widths_.push_back((bar == std::string::npos ? title_.size() : bar) - start);
            if (bar == std::string::npos) break;
            start = bar + 3;
        }
    }

    struct Cell {
        std::string text;
        bool rightAligned = false;
    };
    static Cell number(std::string text) { return {std::move(text), true}; }
    static Cell text(std::string text) { return {std::move(text), false}; }

    void add(const std::vector<Cell>& cells) {
        std::string row;
        for (std::size_t i = 0; i < cells.size() && i < widths_.size(); ++i) {
            if (i > 0) row += " | ";
            const std::string& cell = cells[i].text;
            const std::size_t pad = cell.size() < widths_[i] ? widths_[i] - cell.size() : 0;
            if (cells[i].rightAligned)
                row += std::string(pad, ' ') + cell;
            else
                row += cell + std::string(pad, ' ');
        }
        rows_.push_back(std::move(row));
    }

    [[nodiscard]] std::vector<std::string> lines() const {
        std::vector<std::string> lines{title_, units_, std::string(dashes_.size(), '=')};
        lines.insert(lines.end(), rows_.begin(), rows_.end());
        return lines;
    }

private:
    std::string title_;
    std::string dashes_;
    std::string units_;
    std::vector<std::size_t> widths_;
    std::vector<std::string> rows_;
};

} // namespace

// MARK: - Resolution and artwork

Url AudioDisc::resolveAudioFile(const std::string& fileName, const Url& cueSheetURL) {
    if (!pathExists(cueSheetURL.path()))
        throw AudioDiscError(AudioDiscError::Kind::cueSheetFileNotFound, cueSheetURL.lastPathComponent());
    const Url directory = cueSheetURL.deletingLastPathComponent();
    const Url candidate = directory.appendingPathComponent(fileName);
    if (pathExists(candidate.path())) {
        log("Found audio file", candidate.lastPathComponent());
        return regularAudioFile(candidate);
    }
    log("Couldn't find file", candidate.lastPathComponent());
    const std::string extension = candidate.pathExtension();
    fs::path stem = fs::path(fileName);
    if (!extension.empty()) stem.replace_extension();
    for (std::string_view other : AllowedAudioFileType::extensions) {
        if (other == extension) continue;
        const Url tried = directory.appendingPathComponent(stem.string() + "." + std::string(other));
        const bool found = pathExists(tried.path());
        log("Trying another extension", tried.lastPathComponent() + (found ? " found!" : " not found"));
        if (found) return regularAudioFile(tried);
    }
    throw AudioDiscError(AudioDiscError::Kind::audioFileNotFound, candidate.lastPathComponent());
}

std::optional<Url> AudioDisc::findArtwork(const Url& directory, const std::optional<std::string>& baseName) {
    std::error_code error;
    if (!directory.isFileURL() || !fs::is_directory(directory.path(), error)) return std::nullopt;
    std::vector<std::string> bases;
    if (baseName) bases.push_back(*baseName);
    bases.insert(bases.end(), artworkBaseNames.begin(), artworkBaseNames.end());
    for (const std::string& base : bases) {
        for (std::string_view extension : artworkExtensions) {
            const Url candidate = directory.appendingPathComponent(base + "." + std::string(extension));
            if (pathExists(candidate.path())) {
                log("Found artwork file", candidate.lastPathComponent());
                return candidate;
            }
        }
    }
    log("Couldn't find arwork in directory", directory.path().string());
    return std::nullopt;
}

// MARK: - Assembly

AudioDisc AudioDisc::fromCueSheet(const CueSheet& cueSheet, const AudioDiscServices& services) {
    // Only the first two tracks may carry a PREGAP: a rip with pregaps further in, or any
    // POSTGAP, did not keep the disc's gaps where they were.
    for (std::size_t position = 0; position < cueSheet.tracks.size(); ++position) {
        const CueSheetTrack& track = cueSheet.tracks[position];
        if (track.fakePostgap || (position >= 2 && track.fakePregap))
            throwLogged(AudioDiscError(AudioDiscError::Kind::innacurateDiscFromMultiplePregapOrPostgap));
    }
    // A data track before any audio track ends the sheet before its first audio track.
    if (cueSheet.tracks.empty()) refuseUnplayable("the cue sheet has no audio track");
    log("New audio disc from cue sheet", cueSheet.url.lastPathComponent());

    // Each name is resolved once, however often the sheet repeats it.
    std::vector<Url> urls;
    std::map<std::string, Url> resolved;
    for (const std::string& name : cueSheet.filenames) {
        auto found = resolved.find(name);
        if (found == resolved.end()) {
            try {
                found = resolved.emplace(name, resolveAudioFile(name, cueSheet.url)).first;
            } catch (const AudioDiscError& error) {
                throwLogged(error);
            }
        }
        urls.push_back(found->second);
    }

    const CueSheetTrack& first = cueSheet.tracks.front();
    const auto pregap = checkedCast<std::uint32_t>(first.fakePregap.value_or(0));
    auto data = AudioDiscData::create(urls, pregap, services.openAudioFile);
    checkPlayable(cueSheet, *data);

    std::vector<AudioCue> cues;
    std::int64_t offset = 0;
    long file = 0;
    if (first.fakePregap) {
        cues.push_back(AudioCue{Uuid::random(), 0, 0, 0});
        offset = *first.fakePregap;
    }
    for (std::size_t t = 0; t < cueSheet.tracks.size(); ++t) {
        for (const CueSheetChapter& chapter : cueSheet.tracks[t].chapters) {
            if (chapter.audioFileIndex > file) {
                // Only the current file's length is added, even when the index jumps by more
                // than one; discs are built this way on purpose.
                const auto index = static_cast<std::size_t>(file);
                if (index >= data->audioFiles().size())
                    throwLogged(AudioDiscError(AudioDiscError::Kind::dummy));
                offset = checkedAdd(offset, data->audioFiles()[index]->length());
                file = chapter.audioFileIndex;
            }
            cues.push_back(AudioCue{Uuid::random(), checkedAdd(chapter.position, offset),
                                    static_cast<long>(t), chapter.index});
        }
    }

    try {
        return AudioDisc(std::move(data), std::move(cues), cueSheet.metadata, Source::cueSheet(cueSheet.url),
                         services);
    } catch (const LocalizedError& error) {
        LogEntry::error(error).print();
        throw;
    }
}

AudioDisc AudioDisc::fromDirectory(const Url& directory, const AudioDiscServices& services) {
    log("New audio disc from directory", directory.path().string());
    if (!directory.isFileURL() || !pathExists(directory.path()))
        throwLogged(AudioDiscError(AudioDiscError::Kind::directoryDoesntExist));

    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator it(directory.path(), error), end; !error && it != end; it.increment(error))
        names.push_back(it->path().filename().string());
    if (error)
        checkStatus(-error.value(), "FileManager: Contents of Directory", directory, "fromDirectory(_:)");
    std::sort(names.begin(), names.end());
    if (names.empty()) throwLogged(AudioDiscError(AudioDiscError::Kind::noAudioFileInDirectory));

    std::vector<Url> urls;
    for (const std::string& name : names) {
        const Url url = directory.appendingPathComponent(name);
        if (!AllowedAudioFileType::isAllowed(url.pathExtension())) continue;
        // Hidden entries (the "._01.flac" resource forks a Mac leaves on shared drives) and
        // whatever is not a plain file are not tracks; skipped rather than failing the folder.
        if (name.starts_with('.') || !isRegularFile(url.path())) {
            log("Skipping", name);
            continue;
        }
        urls.push_back(url);
    }
    if (urls.empty()) throwLogged(AudioDiscError(AudioDiscError::Kind::noAudioFileInDirectory));
    log("Viable audio file(s) found", std::to_string(urls.size()));

    auto data = AudioDiscData::create(urls, 0, services.openAudioFile);
    std::vector<AudioCue> cues;
    std::int64_t start = 0;
    for (std::size_t i = 0; i < data->audioFiles().size(); ++i) {
        cues.push_back(AudioCue{Uuid::random(), start, static_cast<long>(i), 1});
        start = checkedAdd(start, data->audioFiles()[i]->length());
    }
    std::vector<AudioFileTags> tags;
    tags.reserve(urls.size());
    for (const Url& url : urls)
        tags.push_back(services.readTags ? services.readTags(url) : AudioFileTags{});

    try {
        AudioDisc disc(std::move(data), std::move(cues), metadataFromTags(tags), Source::directory(directory),
                       services);
        log("Audio disc successfully initialised", directory.path().string());
        return disc;
    } catch (const LocalizedError& failure) {
        LogEntry::error(failure).print();
        throw;
    }
}

AudioDisc::AudioDisc(std::shared_ptr<AudioDiscData> discData, std::vector<AudioCue> discCues,
                     std::optional<AudioMetadata> discMetadata, Source discSource,
                     const AudioDiscServices& services) {
    if (!discData || discData->audioFiles().empty()) throw AudioDiscError(AudioDiscError::Kind::dummy);
    if (discCues.empty()) throw AudioDiscError(AudioDiscError::Kind::dummy);
    data = std::move(discData);
    canBeCDDA = data->canBeCDDA();
    metadata = std::move(discMetadata);
    source = std::move(discSource);
    cues = std::move(discCues);

    std::int64_t previousKeyFrame = -1;
    long previousTrack = -1;
    long previousChapter = -1;
    for (const AudioCue& cue : cues) {
        if (cue.keyFrame <= previousKeyFrame || cue.trackIndex < previousTrack)
            throw AudioDiscError(AudioDiscError::Kind::dummy);
        if (cue.trackIndex > previousTrack) previousChapter = -1;
        if (cue.chapter <= previousChapter) throw AudioDiscError(AudioDiscError::Kind::dummy);
        previousKeyFrame = cue.keyFrame;
        previousTrack = cue.trackIndex;
        previousChapter = cue.chapter;
    }

    long current = 0;
    std::vector<std::size_t> indices;
    for (std::size_t i = 0; i < cues.size(); ++i) {
        if (cues[i].trackIndex != current) {
            tracks.push_back(AudioTrack{Uuid::random(), id, current, std::move(indices)});
            indices = {};
            current = cues[i].trackIndex;
        }
        indices.push_back(i);
    }
    tracks.push_back(AudioTrack{Uuid::random(), id, current, std::move(indices)});

    onlineID = computeOnlineID(services.sha1Base64);
    if (onlineID) {
        log("Disc ID - MusicBrainz", onlineID->musicBrainz);
        log("Disc ID - Accurated Rip v1", hex32(onlineID->arV1Value));
        log("Disc ID - Accurated Rip v2", hex32(onlineID->arV2Value));
        log("Disc ID - FreeDB/CDDB", hex32(onlineID->cddbValue));
    }

    if (source.kind == Source::Kind::directory) {
        artworkURL = findArtwork(source.url, std::nullopt);
    } else {
        artworkURL =
            findArtwork(source.url.deletingLastPathComponent(), fs::path(source.url.path()).stem().string());
    }

    for (TOCMode mode : {TOCMode::cues, TOCMode::tracksRipper, TOCMode::tracksMusicBrainz})
        for (const std::string& line : tableOfContents(mode, TrackLengthMode::includingNextTrackPregap))
            log("Table of Content", line);
}

// MARK: - Tracks and identifiers

std::optional<std::int64_t> AudioDisc::trackStartFrame(const AudioTrack& track) const {
    for (std::size_t i = 0; i < track.cueIndices.size() && i < 2; ++i) {
        const AudioCue& cue = cues[track.cueIndices[i]];
        if (cue.chapter == 1) return cue.keyFrame;
    }
    return std::nullopt;
}

std::int64_t AudioDisc::trackTableStartFrame(const AudioTrack& track) const {
    if (auto start = trackStartFrame(track)) return *start;
    return track.cueIndices.empty() ? 0 : cues[track.cueIndices.front()].keyFrame;
}

std::int64_t AudioDisc::trackLength(const AudioTrack& track, TrackLengthMode mode) const {
    const std::int64_t start = trackTableStartFrame(track);
    std::int64_t end = data->totalFrameCount();
    for (const AudioTrack& next : tracks) {
        if (next.index <= track.index || next.cueIndices.empty()) continue;
        end = mode == TrackLengthMode::includingNextTrackPregap ? cues[next.cueIndices.front()].keyFrame
                                                                : trackTableStartFrame(next);
        break;
    }
    return std::max<std::int64_t>(0, checkedSubtract(end, start));
}

std::optional<AudioDiscOnlineDataBaseID>
AudioDisc::computeOnlineID(const std::function<std::string(std::string_view)>& sha1Base64) const {
    if (source.kind == Source::Kind::directory || !canBeCDDA || tracks.empty() || !sha1Base64)
        return std::nullopt;
    AudioDiscOnlineDataBaseID::Layout layout;
    for (const AudioTrack& track : tracks)
        layout.trackStartFrames.push_back(trackStartFrame(track).value_or(0));
    layout.discEndFrame = data->totalFrameCount();
    const AudioTrack& first = tracks.front();
    layout.firstTrackStartsWithPregap =
        !first.cueIndices.empty() && cues[first.cueIndices.front()].chapter == 0;
    return AudioDiscOnlineDataBaseID::compute(layout, sha1Base64);
}

// MARK: - Tables of contents

std::vector<std::string> AudioDisc::tableOfContents(TOCMode mode, TrackLengthMode lengthMode) const {
    const std::int32_t rate =
        canBeCDDA ? static_cast<std::int32_t>(cdda::framesPerSecond)
                  : static_cast<std::int32_t>(data->audioFiles().front()->fileFormat().sampleRate);
    const auto count = [this](std::int64_t frames) {
        return Table::number(std::to_string(canBeCDDA ? frames / cdda::framesPerSector : frames));
    };
    switch (mode) {
    case TOCMode::cues: {
        Table table = canBeCDDA ? Table("  Cue | Track     |    Key | Length | Key Time | Duration ",
                                        "------+-----------+--------+--------+----------+----------",
                                        "      | [Chapter] | Sector |        |          |          ")
                                : Table("  Cue | Track     |  Key Frame |     Length | Key Time | Duration ",
                                        "------+-----------+------------+------------+----------+----------",
                                        "      | [Chapter] |            |            |          |          ");
        for (std::size_t i = 0; i < cues.size(); ++i) {
            const AudioCue& cue = cues[i];
            const std::int64_t next = i + 1 < cues.size() ? cues[i + 1].keyFrame : data->totalFrameCount();
            const std::int64_t length = checkedSubtract(next, cue.keyFrame);
            table.add({Table::number(formatted("%4lld", static_cast<long long>(i + 1))),
                       Table::text(formatted("%3lld", checkedAdd(cue.trackIndex, 1L)) +
                                   formatted("[%lld]", cue.chapter)),
                       count(cue.keyFrame), count(length), Table::text(timeText(cue.keyFrame, rate)),
                       Table::text(timeText(length, rate))});
        }
        return table.lines();
    }
    case TOCMode::tracksRipper: {
        Table table =
            canBeCDDA
                ? Table(" Track |  Start |    End | Length | Start    | End      | Duration ",
                        "-------+--------+--------+--------+----------+----------+----------",
                        "       | Sector | Sector |        | Time     | Time     | Time     ")
                : Table(" Track |      Start |        End |     Length | Start    | End      | Duration ",
                        "-------+------------+------------+------------+----------+----------+----------",
                        "       |      Frame |      Frame |            | Time     | Time     | Time     ");
        for (const AudioTrack& track : tracks) {
            const std::int64_t start = trackTableStartFrame(track);
            const std::int64_t length = trackLength(track, lengthMode);
            const std::int64_t unit = canBeCDDA ? cdda::framesPerSector : 1;
            // The end is the track's last sector (or frame), as rippers list it.
            const std::int64_t endUnits = std::max<std::int64_t>(0, (start + length) / unit - 1);
            table.add({Table::number(formatted("%3lld", checkedAdd(track.index, 1L))), count(start),
                       Table::number(std::to_string(endUnits)), count(length),
                       Table::text(timeText(start, rate)),
                       Table::text(timeText(checkedAdd(start, length), rate)),
                       Table::text(timeText(length, rate))});
        }
        return table.lines();
    }
    case TOCMode::tracksMusicBrainz: {
        // A folder of files never was a CD, whatever the shape of its audio.
        if (!canBeCDDA || source.kind == Source::Kind::directory) return {"N/A: Disc is not CDDA"};
        Table table(" Track |      Start       |      Length      |       End        ",
                    "-------+------------------+------------------+------------------",
                    "       | Time     Sectors | Time     Sectors | Time     Sectors ");
        // MusicBrainz counts sectors from the start of the lead-in.
        const auto cell = [](std::int64_t sectors) {
            return Table::text(timeText(sectors, 75) + " " + formatted("%7lld", sectors));
        };
        for (const AudioTrack& track : tracks) {
            const std::int64_t start =
                checkedAdd(trackTableStartFrame(track) / cdda::framesPerSector, cdda::leadInSectors);
            const std::int64_t length = trackLength(track, lengthMode) / cdda::framesPerSector;
            table.add({Table::number(formatted("%3lld", checkedAdd(track.index, 1L))), cell(start),
                       cell(length), cell(checkedAdd(start, length))});
        }
        return table.lines();
    }
    }
    return {};
}

// MARK: - Cue queries

std::optional<std::size_t> AudioDisc::cuePosition(const Uuid& cueID) const {
    for (std::size_t i = 0; i < cues.size(); ++i)
        if (cues[i].id == cueID) return i;
    return std::nullopt;
}

std::optional<std::int64_t> AudioDisc::cueLastFrame(const Uuid& cueID) const {
    const auto position = cuePosition(cueID);
    if (!position) return std::nullopt;
    const std::int64_t next =
        *position + 1 < cues.size() ? cues[*position + 1].keyFrame : data->totalFrameCount();
    return checkedSubtract(next, std::int64_t{1});
}

std::optional<std::int64_t> AudioDisc::cueKeySector(const Uuid& cueID) const {
    const auto position = cuePosition(cueID);
    if (!position || !canBeCDDA) return std::nullopt;
    return cues[*position].keyFrame / cdda::framesPerSector;
}

std::optional<std::int64_t> AudioDisc::cueLastSector(const Uuid& cueID) const {
    const auto last = cueLastFrame(cueID);
    if (!last || !canBeCDDA) return std::nullopt;
    return (*last + 1) / cdda::framesPerSector - 1;
}

} // namespace lorvan
