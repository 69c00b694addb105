#include "core/LogEntry.hpp"
#include "cuesheet/CueSheetError.hpp"
#include "disc/AudioDisc.hpp"

#include <charconv>
#include <cstdlib>

namespace lorvan {
namespace {

const std::vector<std::string>* values(const AudioFileTags& tags, std::string_view key) {
    const auto it = tags.find("vorb/" + std::string(key));
    if (it == tags.end() || it->second.empty()) return nullptr;
    return &it->second;
}

std::optional<std::string> first(const AudioFileTags& tags, std::string_view key) {
    if (const auto* found = values(tags, key)) return found->front();
    return std::nullopt;
}

std::optional<std::set<std::string>> names(const AudioFileTags& tags, std::string_view key) {
    const auto* found = values(tags, key);
    if (found == nullptr) return std::nullopt;
    std::set<std::string> result;
    for (const std::string& value : *found)
        if (!value.empty()) result.insert(value);
    if (result.empty()) return std::nullopt;
    return result;
}

// Replay gain values are written "-6.52 dB"; the unit is optional.
std::optional<double> decimal(const AudioFileTags& tags, std::string_view key) {
    const auto text = first(tags, key);
    if (!text) return std::nullopt;
    const char* begin = text->c_str();
    while (*begin == ' ' || *begin == '+')
        ++begin;
    char* end = nullptr;
    const double value = std::strtod(begin, &end);
    if (end == begin) return std::nullopt;
    return value;
}

// "2" or "2/3": the number, and the total when it is written with it.
std::pair<std::optional<long>, std::optional<long>> numberAndTotal(const AudioFileTags& tags,
                                                                   std::string_view key) {
    const auto text = first(tags, key);
    if (!text) return {};
    long number = 0;
    const char* end = text->data() + text->size();
    auto [rest, error] = std::from_chars(text->data(), end, number);
    if (error != std::errc()) return {};
    std::optional<long> total;
    if (rest != end && *rest == '/') {
        long value = 0;
        if (std::from_chars(rest + 1, end, value).ec == std::errc()) total = value;
    }
    return {number, total};
}

std::optional<AudioDiscDate> date(const AudioFileTags& tags) {
    auto text = first(tags, "DATE");
    if (!text) return std::nullopt;
    // Tag dates are often full timestamps; the date part is what a release date means.
    if (text->size() > 10 && (*text)[10] == 'T') text->resize(10);
    try {
        return AudioDiscDate::parse(*text);
    } catch (const CueSheetError&) {
        return std::nullopt; // already logged; a bad date in a tag does not stop the disc
    }
}

template <typename T> void takeFirst(std::optional<T>& field, std::optional<T> value) {
    if (!field && value) field = std::move(value);
}

} // namespace

std::optional<AudioMetadata> metadataFromTags(const std::vector<AudioFileTags>& files) {
    AudioMetadata metadata;
    std::vector<AudioTrackMetadata> tracks;
    bool found = false;
    for (const AudioFileTags& tags : files) {
        takeFirst(metadata.releaseTitle, first(tags, "ALBUM"));
        takeFirst(metadata.releasePerformers, names(tags, "ALBUMARTIST"));
        takeFirst(metadata.recordLabel, first(tags, "LABEL"));
        takeFirst(metadata.catalogueNumber, first(tags, "CATALOGNUMBER"));
        takeFirst(metadata.barcode, first(tags, "BARCODE"));
        takeFirst(metadata.discGain, decimal(tags, "REPLAYGAIN_ALBUM_GAIN"));
        takeFirst(metadata.discPeak, decimal(tags, "REPLAYGAIN_ALBUM_PEAK"));
        takeFirst(metadata.discTitle, first(tags, "DISCSUBTITLE"));
        if (!metadata.initialDate) {
            metadata.initialDate = date(tags);
            metadata.editionDate = metadata.initialDate;
        }
        const auto [number, totalFromNumber] = numberAndTotal(tags, "DISCNUMBER");
        takeFirst(metadata.discNumber, number);
        takeFirst(metadata.totalDiscs, totalFromNumber);
        takeFirst(metadata.totalDiscs, numberAndTotal(tags, "DISCTOTAL").first);
        takeFirst(metadata.totalDiscs, numberAndTotal(tags, "TOTALDISCS").first);
        if (first(tags, "COMPILATION") == "1")
            takeFirst(metadata.releaseType, std::optional(AudioMetadata::ReleaseType::compilation));

        AudioTrackMetadata track;
        track.title = first(tags, "TITLE");
        track.subtitle = first(tags, "SUBTITLE");
        track.isrc = first(tags, "ISRC");
        track.performers = names(tags, "ARTIST");
        track.composers = names(tags, "COMPOSER");
        track.conductors = names(tags, "CONDUCTOR");
        track.remixers = names(tags, "REMIXER");
        track.gain = decimal(tags, "REPLAYGAIN_TRACK_GAIN");
        track.peak = decimal(tags, "REPLAYGAIN_TRACK_PEAK");
        if (track != AudioTrackMetadata{}) found = true;
        tracks.push_back(std::move(track));
    }
    if (metadata != AudioMetadata{}) found = true;
    if (!found) return std::nullopt;
    metadata.tracksMetadata = std::move(tracks);
    return metadata;
}

} // namespace lorvan
