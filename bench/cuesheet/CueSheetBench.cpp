// Reading a full 99-track sheet must stay far below what a user could notice when opening a disc.
#include "core/ConsoleLog.hpp"
#include "cuesheet/CueSheet.hpp"
#include "cuesheet/TextFileDecoder.hpp"

#include <benchmark/benchmark.h>
#include <string>

namespace {

std::string twoDigits(int n) {
    return (n < 10 ? "0" : "") + std::to_string(n);
}

/// A single-file rip of 99 tracks with every kind of release and track metadata.
std::string fullSheet() {
    std::string text = "REM GENRE \"Progressive Rock\"\nREM DATE 1973-03-01\nREM DISCID A30C2B0C\n"
                       "REM DISCNUMBER 1\nREM TOTALDISCS 2\nREM REPLAYGAIN_ALBUM_GAIN -8.41 dB\n"
                       "REM REPLAYGAIN_ALBUM_PEAK 0.998413\nREM COMPOSER \"Composer A, Composer B\"\n"
                       "CATALOG 0724382975229\nPERFORMER \"The Long Band\"\nTITLE \"A Very Long Album\"\n"
                       "FILE \"A Very Long Album.flac\" WAVE\n";
    for (int track = 1; track <= 99; ++track) {
        const int start = track * 44; // seconds
        text += "  TRACK " + twoDigits(track) + " AUDIO\n";
        text += "    TITLE \"Track number " + std::to_string(track) + " – with a longer title\"\n";
        text += "    PERFORMER \"The Long Band, Guest " + std::to_string(track) + "\"\n";
        text += "    SONGWRITER \"Writer " + std::to_string(track % 7) + "\"\n";
        text += "    ISRC GBAYE73000" + twoDigits(track) + "\n";
        text += "    REM REPLAYGAIN_TRACK_GAIN -7.12 dB\n    REM REPLAYGAIN_TRACK_PEAK 0.912345\n";
        if (track > 1)
            text +=
                "    INDEX 00 " + twoDigits((start - 2) / 60) + ":" + twoDigits((start - 2) % 60) + ":00\n";
        text += "    INDEX 01 " + twoDigits(start / 60) + ":" + twoDigits(start % 60) + ":00\n";
    }
    return text;
}

void parse99Tracks(benchmark::State& state) {
    lorvan::ConsoleLog::discard();
    const std::string text = fullSheet();
    const auto url = lorvan::Url::fileURL("/music/A Very Long Album.cue");
    for (auto _ : state)
        benchmark::DoNotOptimize(lorvan::CueSheet::parse(text, url));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
BENCHMARK(parse99Tracks)->Unit(benchmark::kMicrosecond);

void decodeAndParse99Tracks(benchmark::State& state) {
    lorvan::ConsoleLog::discard();
    const std::string text = fullSheet();
    const auto url = lorvan::Url::fileURL("/music/A Very Long Album.cue");
    for (auto _ : state)
        benchmark::DoNotOptimize(
            lorvan::CueSheet::parse(lorvan::TextFileDecoder::decode(text, "bench.cue"), url));
}
BENCHMARK(decodeAndParse99Tracks)->Unit(benchmark::kMicrosecond);

} // namespace
