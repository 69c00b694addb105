#include "CliSupport.hpp"
#include "Commands.hpp"
#include "core/ConsoleLog.hpp"
#include "core/LKTextTableView.hpp"
#include "cuesheet/CueSheet.hpp"
#include "cuesheet/CueSheetJson.hpp"
#include "timecode/Timecode.hpp"

#include <cstdio>
#include <memory>

namespace lorvan::cli {
namespace {

constexpr std::int32_t cddaRate = 44100;

std::string cueTime(std::int64_t frames) {
    return Timecode(frames, cddaRate).formatted(TimecodeFormat::Style::cddaCueSheet);
}

std::string names(const std::optional<std::set<std::string>>& people) {
    return people ? joinedNames(*people) : std::string();
}

void printTracks(const CueSheet& sheet) {
    LKTextTableView table({"Track", "File", "INDEX", "Position", "Frames", "Pregap", "Postgap", "Title", "Performers"},
                          {});
    for (std::size_t t = 0; t < sheet.tracks.size(); ++t) {
        const CueSheetTrack& track = sheet.tracks[t];
        const AudioTrackMetadata* metadata = nullptr;
        if (sheet.metadata && sheet.metadata->tracksMetadata && t < sheet.metadata->tracksMetadata->size())
            metadata = &(*sheet.metadata->tracksMetadata)[t];
        // Track-wide facts go on the track's first row only, so each track reads as one block.
        LKTextTableView::Row first{{"Track", (track.index < 10 ? "0" : "") + std::to_string(track.index)},
                                   {"Pregap", track.fakePregap ? cueTime(*track.fakePregap) : ""},
                                   {"Postgap", track.fakePostgap ? cueTime(*track.fakePostgap) : ""},
                                   {"Title", metadata && metadata->title ? *metadata->title : ""},
                                   {"Performers", metadata ? names(metadata->performers) : ""}};
        if (track.chapters.empty()) table.data.push_back(first);
        for (std::size_t c = 0; c < track.chapters.size(); ++c) {
            const CueSheetChapter& chapter = track.chapters[c];
            LKTextTableView::Row row = first;
            if (c > 0)
                for (auto& [key, value] : row) value.clear();
            const auto file = static_cast<std::size_t>(chapter.audioFileIndex);
            row["File"] = chapter.audioFileIndex >= 0 && file < sheet.filenames.size() ? sheet.filenames[file] : "";
            row["INDEX"] = (chapter.index < 10 ? "0" : "") + std::to_string(chapter.index);
            row["Position"] = cueTime(chapter.position);
            row["Frames"] = std::to_string(chapter.position);
            table.data.push_back(std::move(row));
        }
    }
    table.measure();
    table.print();
}

void printRelease(const CueSheet& sheet) {
    if (!sheet.metadata) return;
    const AudioMetadata& m = *sheet.metadata;
    LKTextTableView table({"Release", "Value"}, {});
    table.showLineNumberColumn = false;
    const auto add = [&](const char* field, const std::string& value) {
        if (!value.empty()) table.data.push_back({{"Release", field}, {"Value", value}});
    };
    const auto number = [](const std::optional<long>& value) { return value ? std::to_string(*value) : ""; };
    const auto decimal = [](const std::optional<double>& value, const char* unit) {
        if (!value) return std::string();
        char text[64];
        std::snprintf(text, sizeof text, "%.2f%s", *value, unit);
        return std::string(text);
    };
    add("Title", m.releaseTitle.value_or(""));
    add("Artist", m.releaseArtistText());
    add("Featuring", names(m.releaseFeaturing));
    add("Composer(s)", names(m.releaseComposers));
    add("Conductor(s)", names(m.releaseConductors));
    add("Remixer(s)", names(m.releaseRemixers));
    add("Date", m.initialDate ? m.initialDate->description() : "");
    add("Release type", m.releaseType ? displayText(*m.releaseType) : "");
    add("Catalogue number", m.catalogueNumber.value_or(""));
    add("Disc number", number(m.discNumber));
    add("Total discs", number(m.totalDiscs));
    add("Replay gain", decimal(m.discGain, " dB"));
    add("Peak amplitude", decimal(m.discPeak, ""));
    add("First bonus track", number(m.firstBonusTrackIndex));
    add("First extra track", number(m.firstExtraTrackIndex));
    table.measure();
    table.print();
}

int runCue(const std::string& path, bool json) {
    if (json) useStandardErrorForLog();
    try {
        const CueSheet sheet(readableFileUrl(path));
        if (json) {
            std::printf("%s\n", nlohmann::json(sheet).dump(2).c_str());
        } else {
            ConsoleLog::write("");
            printTracks(sheet);
            printRelease(sheet);
        }
        return exitSuccess;
    } catch (const LocalizedError& error) {
        return reportRefusal(error, json);
    }
}

} // namespace

void addCueCommand(CLI::App& app, int& status) {
    auto* command = app.add_subcommand("cue", "Read a cue sheet and print what it describes");
    auto path = std::make_shared<std::string>();
    auto json = std::make_shared<bool>(false);
    command->add_option("PATH", *path, "The cue sheet file")->required();
    command->add_flag("--json", *json, "Print the cue sheet as one JSON document (the log goes to stderr)");
    command->callback([path, json, &status] { status = runCue(*path, *json); });
}

} // namespace lorvan::cli
