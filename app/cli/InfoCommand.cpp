#include "CliSupport.hpp"
#include "Commands.hpp"
#include "PlaybackSupport.hpp"
#include "app/session/DiscOpening.hpp"
#include "core/ConsoleLog.hpp"
#include "cuesheet/CueSheetJson.hpp"
#include "disc/AudioDisc.hpp"

#include <cstdio>
#include <filesystem>
#include <memory>

namespace lorvan::cli {
namespace {

std::string hex32(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "%08x", value);
    return text;
}

nlohmann::json discJson(const AudioDisc& disc) {
    const AudioFile& first = *disc.data->audioFiles().front();
    nlohmann::json json;
    json["source"] = {
        {"type", disc.source.kind == AudioDisc::Source::Kind::cueSheet ? "cueSheet" : "directory"},
        {"path", disc.source.url.path().string()}};
    json["canBeCDDA"] = disc.canBeCDDA;
    json["sampleRate"] = first.fileFormat().sampleRate;
    json["channels"] = first.fileFormat().channelsPerFrame;
    json["bitDepth"] = first.bitDepth() ? nlohmann::json(*first.bitDepth()) : nlohmann::json(nullptr);
    json["frameCount"] = disc.data->totalFrameCount();
    // What the player plays: from the first track's start to the end of the disc.
    const std::int64_t playbackStart =
        disc.tracks.empty() ? 0 : disc.trackTableStartFrame(disc.tracks.front());
    json["playbackFrameCount"] = disc.data->totalFrameCount() - playbackStart;
    json["artwork"] =
        disc.artworkURL ? nlohmann::json(disc.artworkURL->path().string()) : nlohmann::json(nullptr);
    if (disc.onlineID) {
        json["onlineID"] = {{"musicBrainz", disc.onlineID->musicBrainz},
                            {"accurateRipV1", hex32(disc.onlineID->arV1Value)},
                            {"accurateRipV2", hex32(disc.onlineID->arV2Value)},
                            {"freedb", hex32(disc.onlineID->cddbValue)},
                            {"musicBrainzURL", disc.onlineID->musicBrainzURL()}};
    } else {
        json["onlineID"] = nullptr;
    }
    json["cues"] = nlohmann::json::array();
    for (const AudioCue& cue : disc.cues)
        json["cues"].push_back(
            {{"keyFrame", cue.keyFrame}, {"trackIndex", cue.trackIndex}, {"chapter", cue.chapter}});
    json["tracks"] = nlohmann::json::array();
    for (const AudioTrack& track : disc.tracks) {
        const std::int64_t start = disc.trackTableStartFrame(track);
        const std::int64_t firstKey =
            track.cueIndices.empty() ? start : disc.cues[track.cueIndices.front()].keyFrame;
        const AudioTrackMetadata* metadata = nullptr;
        if (disc.metadata && disc.metadata->tracksMetadata && track.index >= 0 &&
            static_cast<std::size_t>(track.index) < disc.metadata->tracksMetadata->size())
            metadata = &(*disc.metadata->tracksMetadata)[static_cast<std::size_t>(track.index)];
        json["tracks"].push_back(
            {{"index", track.index},
             {"cueIndices", track.cueIndices},
             {"startFrame", start},
             {"pregapFrames", start - firstKey},
             {"lengthFrames", disc.trackLength(track, AudioDisc::TrackLengthMode::includingNextTrackPregap)},
             {"title",
              metadata && metadata->title ? nlohmann::json(*metadata->title) : nlohmann::json(nullptr)},
             {"performers", metadata && metadata->performers ? nlohmann::json(*metadata->performers)
                                                             : nlohmann::json(nullptr)}});
    }
    json["metadata"] = disc.metadata ? nlohmann::json(*disc.metadata) : nlohmann::json(nullptr);
    return json;
}

int runInfo(const std::string& path, bool json) {
    if (json) useStandardErrorForLog();
    try {
        const AudioDisc disc = openDisc(path);
        if (json) std::printf("%s\n", discJson(disc).dump(2).c_str());
        return exitSuccess;
    } catch (const LocalizedError& error) {
        return reportRefusal(error, json);
    }
}

} // namespace

void addInfoCommand(CLI::App& app, int& status) {
    auto* command = app.add_subcommand("info", "Build the disc of a cue sheet or a folder of audio files");
    auto path = std::make_shared<std::string>();
    auto json = std::make_shared<bool>(false);
    command->add_option("PATH", *path, "A cue sheet file or a folder of audio files")->required();
    command->add_flag("--json", *json, "Print the disc as one JSON document (the log goes to stderr)");
    command->callback([path, json, &status] { status = runInfo(*path, *json); });
}

} // namespace lorvan::cli
