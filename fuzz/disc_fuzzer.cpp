// Any bytes as a cue sheet beside a fixed folder of small real audio files, assembled into a
// disc through the platform's services: FILE names, index points past a file's end, pregaps and
// postgaps reach assembly, the identifiers and the tables of contents, then reads at every cue.
// Refusals with their texts are fine; crashes, hangs, leaks, sanitizer reports, fatal arithmetic
// errors and a disc that breaks its own invariants are finds.
#include "core/ConsoleLog.hpp"
#include "core/LocalizedError.hpp"
#include "cuesheet/CueSheet.hpp"
#include "cuesheet/TextFileDecoder.hpp"
#include "disc/AudioDisc.hpp"
#include "fuzz/FuzzFixtures.hpp"
#include "fuzz/FuzzSupport.hpp"
#include "platform/PlatformDiscServices.hpp"

#include <cstdint>
#include <string_view>

namespace {

using lorvan::fuzz::require;

void exercise(lorvan::AudioDisc& disc) {
    const std::int64_t total = disc.data->totalFrameCount();
    require(!disc.cues.empty() && !disc.tracks.empty(), "a disc without cues or tracks");
    for (std::size_t i = 1; i < disc.cues.size(); ++i)
        require(disc.cues[i - 1].keyFrame <= disc.cues[i].keyFrame, "cues out of order");
    for (const lorvan::AudioCue& cue : disc.cues)
        require(cue.keyFrame >= 0 && cue.keyFrame < total, "a cue outside the disc's audio");
    for (const lorvan::AudioTrack& track : disc.tracks) {
        (void)disc.trackStartFrame(track);
        (void)disc.trackTableStartFrame(track);
        require(disc.trackLength(track, lorvan::AudioDisc::TrackLengthMode::includingNextTrackPregap) >= 0 &&
                    disc.trackLength(track, lorvan::AudioDisc::TrackLengthMode::excludingNextTrackPregap) >=
                        0,
                "a track of negative length");
    }
    for (const auto mode :
         {lorvan::TOCMode::cues, lorvan::TOCMode::tracksRipper, lorvan::TOCMode::tracksMusicBrainz})
        for (const auto lengthMode : {lorvan::AudioDisc::TrackLengthMode::includingNextTrackPregap,
                                      lorvan::AudioDisc::TrackLengthMode::excludingNextTrackPregap})
            (void)disc.tableOfContents(mode, lengthMode);
    for (const lorvan::AudioCue& cue : disc.cues) {
        require(disc.cuePosition(cue.id).has_value(), "a cue of the disc not found by its id");
        (void)disc.cueLastFrame(cue.id);
        (void)disc.cueKeySector(cue.id);
        (void)disc.cueLastSector(cue.id);
        const auto buffer = disc.data->newPCMBuffer(cue.keyFrame, 588);
        require(buffer && buffer->frameLength() > 0, "no frames at a cue inside the disc");
    }
    if (total > 0) {
        const auto last = disc.data->newPCMBuffer(total - 1, 588);
        require(last && last->frameLength() == 1, "the last frame of the disc is not one frame");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool silenced = (lorvan::ConsoleLog::discard(), true);
    (void)silenced;
    static const lorvan::AudioDiscServices services = lorvan::platform::audioDiscServices();
    static const lorvan::Url sheetURL = [] {
        const std::filesystem::path directory = lorvan::fuzz::privateDirectory("lorvan-disc-fuzz");
        lorvan::fuzz::writeDiscFolder(directory);
        return lorvan::Url::fileURL(directory / "disc.cue");
    }();
    try {
        std::string text =
            lorvan::TextFileDecoder::decode(std::string_view(reinterpret_cast<const char*>(data), size), {});
        const lorvan::CueSheet sheet = lorvan::CueSheet::parse(std::move(text), sheetURL);
        lorvan::AudioDisc disc = lorvan::AudioDisc::fromCueSheet(sheet, services);
        exercise(disc);
    } catch (const lorvan::LocalizedError& error) {
        lorvan::fuzz::requireTexts(error);
    }
    return 0;
}
