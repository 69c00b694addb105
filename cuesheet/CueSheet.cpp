#include "cuesheet/CueSheet.hpp"

#include "core/Checked.hpp"
#include "core/CompactDisc.hpp"
#include "core/LogEntry.hpp"
#include "cuesheet/AudioDiscError.hpp"
#include "cuesheet/CueSheetError.hpp"
#include "cuesheet/TextFileDecoder.hpp"
#include "cuesheet/TextScanner.hpp"

#include <array>
#include <cstdio>
#include <functional>

namespace lorvan {
namespace {

using Kind = CueSheetError::Kind;

[[noreturn]] void fail(Kind kind, std::optional<long> line, std::optional<std::string> value = std::nullopt) {
    throwLogged(CueSheetError(kind, line, std::move(value)));
}

std::string twoDigits(long long number) {
    char text[24];
    std::snprintf(text, sizeof text, "%02lld", number);
    return text;
}

std::string lineText(long line) {
    return "Line " + std::to_string(line);
}

/// Reads one sheet. Holds the state of the line loop; used once, on the caller's thread.
class CueSheetParser {
public:
    CueSheetParser(std::string text, const Url& url)
        : text_(std::move(text))
        , url_(url)
        , scanner_(text_) {}

    CueSheet run() {
        if (scanner_.consume("\xEF\xBB\xBF")) log("BOM detected.");
        while (!scanner_.atEnd()) {
            if (!readLine()) break;
        }
        closeTrack();
        if (filenames_.empty()) fail(Kind::invalidCueSheet_NoAudioFile, std::nullopt);

        CueSheet sheet;
        sheet.url = url_;
        sheet.contents = std::move(text_);
        sheet.filenames = std::move(filenames_);
        sheet.tracks = std::move(tracks_);
        if (!(metadata_ == AudioMetadata{})) sheet.metadata = std::move(metadata_);
        return sheet;
    }

private:
    struct Line {
        std::string_view command;
        std::optional<std::string_view> quoted;
    };

    /// Reads the line at the scanner; false when the rest of the sheet is to be ignored.
    bool readLine() {
        scanner_.skipBlanks();
        if (scanner_.atLineEnd()) {
            log("Empty line", lineText(line_));
            scanner_.consumeLineEnd();
            ++line_;
            return true;
        }
        // REM is only a prefix: "REM DATE 1999" and "DATE 1999" mean the same.
        const bool remark = scanner_.consume("REM");
        if (remark) scanner_.skipBlanks();
        Line current{scanner_.scanWord(), std::nullopt};
        if (current.command.empty()) {
            log(remark ? "The command 'REM' has no following argument" : "Empty or blank line",
                lineText(line_));
            return finishLine();
        }
        scanner_.skipBlanks();
        if (!needsNoArgument(current.command) && scanner_.atLineEnd()) {
            log("The command '" + std::string(current.command) + "' has no argument", lineText(line_));
            return finishLine();
        }
        if (scanner_.consume('"')) {
            const std::string_view value = scanner_.scanUpTo('"');
            if (!scanner_.consume('"')) {
                log("Quote non ended", lineText(line_));
                return finishLine();
            }
            current.quoted = value;
        }
        if (!dispatch(current)) return false;
        return finishLine();
    }

    bool finishLine() {
        scanner_.scanToLineEnd();
        if (scanner_.consumeLineEnd()) ++line_;
        return true;
    }

    static bool needsNoArgument(std::string_view command) {
        return command == "BONUS" || command == "BONUSTRACKS" || command == "EXTRA" ||
               command == "EXTRATRACKS";
    }

    /// The quoted value, or else the rest of the line without surrounding blanks.
    std::string argument(const Line& current) {
        if (current.quoted) return std::string(*current.quoted);
        return std::string(trimmedBlanks(scanner_.scanToLineEnd()));
    }

    /// Like `argument`, but a command that ends the text with nothing after it is refused.
    std::string requiredArgument(const Line& current) {
        std::string value = argument(current);
        if (value.empty() && !current.quoted && scanner_.atEnd())
            fail(Kind::commandHasNoArgument, line_, std::string(current.command));
        return value;
    }

    bool dispatch(const Line& current) {
        const std::string_view command = current.command;
        if (command == "TITLE")
            readTitle(current);
        else if (command == "DISCID")
            log("DISCID", requiredArgument(current));
        else if (command == "CATALOG")
            readCatalog(current);
        else if (command == "ISRC")
            readIsrc(current);
        else if (command == "DATE")
            readDate(current);
        else if (command == "FILE")
            readFile(current);
        else if (command == "COMPILATION")
            readCompilation();
        else if (command == "DISCNUMBER")
            readDiscCount(current, metadata_.discNumber, "Disc number");
        else if (command == "TOTALDISCS")
            readDiscCount(current, metadata_.totalDiscs, "Total discs");
        else if (command == "BONUS" || command == "BONUSTRACKS")
            readTrackMark(metadata_.firstBonusTrackIndex, "Bonus Tracks");
        else if (command == "EXTRA" || command == "EXTRATRACKS")
            readTrackMark(metadata_.firstExtraTrackIndex, "Extra Tracks");
        else if (command == "PERFORMER")
            readPeople(current, &AudioMetadata::releasePerformers, &AudioTrackMetadata::performers,
                       "Performer(s)", "Performer(s)");
        else if (command == "FEATURING")
            readPeople(current, &AudioMetadata::releaseFeaturing, &AudioTrackMetadata::featuring,
                       "Featured Performer(s)", "Featured Performer(s)");
        else if (command == "SONGWRITER" || command == "COMPOSER")
            readPeople(current, &AudioMetadata::releaseComposers, &AudioTrackMetadata::composers,
                       "Composer(s)", "Composer(s)");
        else if (command == "CONDUCTOR")
            readPeople(current, &AudioMetadata::releaseConductors, &AudioTrackMetadata::conductors,
                       "Release Conductor(s)", "Conductor(s)");
        else if (command == "REMIXER")
            readPeople(current, &AudioMetadata::releaseRemixers, &AudioTrackMetadata::remixers,
                       "Release Remixer(s)", "Remixer(s)");
        else if (command == "REPLAYGAIN_TRACK_GAIN")
            readTrackGain(current, &AudioTrackMetadata::gain, true);
        else if (command == "REPLAYGAIN_TRACK_PEAK")
            readTrackGain(current, &AudioTrackMetadata::peak, false);
        else if (command == "REPLAYGAIN_ALBUM_GAIN")
            readAlbumGain(current, metadata_.discGain, true);
        else if (command == "REPLAYGAIN_ALBUM_PEAK")
            readAlbumGain(current, metadata_.discPeak, false);
        else if (command == "TRACK")
            return readTrack(current);
        else if (command == "INDEX")
            readIndex(current);
        else if (command == "PREGAP")
            readGap(current, &CueSheetTrack::fakePregap, "Pregap");
        else if (command == "POSTGAP")
            readGap(current, &CueSheetTrack::fakePostgap, "Postgap");
        else
            log("'" + std::string(command) + "' is an unknown or ignored command.", lineText(line_));
        return true;
    }

    // --- files, tracks and indexes -------------------------------------------------------------

    void readFile(const Line& current) {
        if (!current.quoted)
            fail(Kind::FILE_InvalidAudioFileName, line_,
                 std::string(trimmedBlanks(scanner_.scanToLineEnd())));
        const std::string type(trimmedBlanks(scanner_.scanToLineEnd()));
        // Whatever the audio format, rippers write WAVE; other types describe data or MP3 sheets
        // whose positions would not be sample-exact.
        if (type != "WAVE") fail(Kind::FILE_InvalidFileType, line_, type);
        filenames_.emplace_back(*current.quoted);
        log("Audio file " + twoDigits(static_cast<long long>(filenames_.size())),
            std::string(*current.quoted) + " | Type: " + type);
    }

    bool readTrack(const Line& current) {
        if (current.quoted) fail(Kind::TRACK_InvalidNumberValue, line_, std::string(*current.quoted));
        const std::size_t start = scanner_.position();
        const auto number = scanner_.scanInteger();
        if (!number) {
            const std::string found(scanner_.scanWord());
            fail(Kind::TRACK_InvalidNumberValue, line_, found.empty() ? std::nullopt : std::optional(found));
        }
        const std::string written = currentText(start);
        ++trackCommandCount_;
        if (*number < 0) fail(Kind::TRACK_InvalidNumberValue_Negative, line_, written);
        if (*number == 0) fail(Kind::TRACK_InvalidNumberValue_Zero, line_, written);
        if (*number >= 100) fail(Kind::TRACK_InvalidNumberValue_Above99, line_, written);
        if (*number != trackCommandCount_)
            fail(Kind::TRACK_InvalidNumberValue_InconsistantWithNumberOfTracks, line_, written);

        scanner_.skipBlanks();
        const std::string type(scanner_.scanWord());
        if (type.empty()) fail(Kind::TRACK_UnknownType, line_);
        if (type == "AUDIO") {
            closeTrack();
            track_ = CueSheetTrack{};
            track_->index = static_cast<long>(*number);
            trackMetadata().emplace_back();
            LogEntry(std::nullopt, indent(1, "⦿") + "Track " + twoDigits(*number), lineText(line_)).print();
            return true;
        }
        // A trailing data track (an enhanced CD) ends the audio part of the sheet. The 2336-byte
        // mode is compared with a trailing blank, which a word never has: such sheets are refused.
        if (type == "MODE1/2048" || type == "MODE1/2352" || type == "MODE2/2352" || type == "MODEx/2xxx" ||
            type == "MODE2/2336 ") {
            log("Track " + twoDigits(*number) + " of type '" + type +
                    "' - Ignoring the rest of the Cue Sheet",
                lineText(line_));
            return false;
        }
        fail(Kind::TRACK_UnknownType, line_, type);
    }

    void readIndex(const Line& current) {
        if (current.quoted) fail(Kind::TRACK_InvalidNumberValue, line_, std::string(*current.quoted));
        if (!track_) fail(Kind::INDEX_IndexBeforeTrack, line_);
        const auto number = scanner_.scanInteger();
        if (!number) fail(Kind::INDEX_IndexBeforeTrack, line_);
        scanner_.skipBlanks();
        const std::string time(trimmedBlanks(scanner_.scanToLineEnd()));
        if (time.empty()) fail(Kind::INDEX_InvalidValue_NotFound, line_);
        const std::int64_t position = CueSheet::parseIndexTime(time, line_);

        auto& chapters = track_->chapters;
        // The new chapter is counted by the checks below.
        chapters.push_back({static_cast<long>(*number), static_cast<long>(filenames_.size()) - 1, position});
        const auto count = static_cast<long long>(chapters.size());
        if (*number < 0) fail(Kind::INDEX_InvalidNumber_Negative, line_, std::to_string(*number));
        if (*number == 0) {
            if (track_->fakePregap) {
                throwLogged(AudioDiscError(AudioDiscError::Kind::dummy));
            }
            if (count > 1) fail(Kind::INDEX_Index00AfterOtherIndex, line_);
            if (filenames_.empty()) fail(Kind::INDEX_IndexBeforeAudioFile, line_);
        } else if (*number == 1) {
            if (count >= 3) fail(Kind::INDEX_InvalidNumber_BiggerThanExpected, line_, "1");
            if (filenames_.empty()) fail(Kind::INDEX_IndexBeforeAudioFile, line_);
        } else {
            if (*number > 99) fail(Kind::INDEX_InvalidNumber_Above99, line_, std::to_string(*number));
            if (count != *number && count != *number + 1)
                fail(Kind::INDEX_InvalidNumber_BiggerThanExpected, line_, std::to_string(*number));
        }
        LogEntry(std::nullopt, indent(2, "➤") + "Index " + twoDigits(*number),
                 time + " | " + std::to_string(position) + " frames in file " +
                     twoDigits(chapters.back().audioFileIndex + 1))
            .print();
    }

    void readGap(const Line& current, std::optional<std::int64_t> CueSheetTrack::*gap, const char* label) {
        const std::string time = current.quoted ? std::string(*current.quoted)
                                                : std::string(trimmedBlanks(scanner_.scanToLineEnd()));
        if (time.empty()) fail(Kind::INDEX_InvalidValue_NotFound, line_);
        const std::int64_t frames = CueSheet::parseIndexTime(time, line_);
        if (!track_) {
            LogEntry::warning(std::string(label) + " before any track is ignored (" + lineText(line_) + ")")
                .print();
            return;
        }
        (*track_).*gap = frames;
        LogEntry(std::nullopt, indent(2, "➤") + label, time).print();
    }

    void closeTrack() {
        if (track_) tracks_.push_back(std::move(*track_));
        track_.reset();
    }

    std::string currentText(std::size_t start) const {
        return text_.substr(start, scanner_.position() - start);
    }

    // --- metadata --------------------------------------------------------------------------------

    /// Metadata lines nest under the track they describe, like its indexes.
    void logMetadata(std::string label, std::string value) {
        if (track_)
            LogEntry(std::nullopt, indent(2, "≔") + label, std::move(value)).print();
        else
            log(std::move(label), std::move(value));
    }

    std::vector<AudioTrackMetadata>& trackMetadata() {
        if (!metadata_.tracksMetadata) metadata_.tracksMetadata.emplace();
        return *metadata_.tracksMetadata;
    }

    /// The metadata of the current track, or none before the first TRACK.
    AudioTrackMetadata* currentTrackMetadata() {
        if (!track_ || !metadata_.tracksMetadata || metadata_.tracksMetadata->empty()) return nullptr;
        return &metadata_.tracksMetadata->back();
    }

    void readTitle(const Line& current) {
        if (!current.quoted) {
            log("Title", "ignored, the title is not quoted (" + lineText(line_) + ")");
            return;
        }
        const std::string title(*current.quoted);
        // Before the first FILE a title names the release; after it, the track being described.
        if (auto* track = currentTrackMetadata(); track && !filenames_.empty())
            track->title = title;
        else
            metadata_.releaseTitle = title;
        logMetadata("Title", title);
    }

    void readCatalog(const Line& current) {
        const std::string value = requiredArgument(current);
        if (value.empty()) return;
        metadata_.catalogueNumber = value;
        logMetadata("Disc Catalog", value);
    }

    void readIsrc(const Line& current) {
        const std::string value = requiredArgument(current);
        if (value.empty()) return;
        auto* track = currentTrackMetadata();
        if (!track) {
            LogEntry::warning("ISRC before any track is ignored (" + lineText(line_) + ")").print();
            return;
        }
        track->isrc = value;
        logMetadata("ISRC", value);
    }

    void readDate(const Line& current) {
        const std::string value = requiredArgument(current);
        try {
            const AudioDiscDate date = AudioDiscDate::parse(value, line_);
            metadata_.initialDate = date;
            metadata_.editionDate = date;
            logMetadata("Date", date.description());
        } catch (const CueSheetError&) {
            // Already logged; a wrong date costs the date, not the disc.
            log("Date", "ignored, '" + value + "' is not a valid date");
        }
    }

    void readCompilation() {
        metadata_.releaseType = AudioMetadata::ReleaseType::compilation;
        logMetadata("Release type", displayText(AudioMetadata::ReleaseType::compilation));
    }

    void readDiscCount(const Line& current, std::optional<long>& field, const char* label) {
        const std::string value = argument(current);
        TextScanner number(value);
        const auto parsed = number.scanInteger();
        if (!parsed || !number.atEnd() || *parsed < 0 || *parsed > 9999) {
            LogEntry::warning(std::string(label) + " '" + value + "' is not a number and is ignored (" +
                              lineText(line_) + ")")
                .print();
            return;
        }
        field = static_cast<long>(*parsed);
        logMetadata(label, std::to_string(*parsed));
    }

    void readTrackMark(std::optional<long>& field, const char* label) {
        field = trackCommandCount_;
        logMetadata(label, "from track " + twoDigits(trackCommandCount_));
    }

    void readPeople(const Line& current, std::optional<std::set<std::string>> AudioMetadata::*releaseField,
                    std::optional<std::set<std::string>> AudioTrackMetadata::*trackField,
                    const char* releaseLabel, const char* trackLabel) {
        const std::string value = argument(current);
        std::set<std::string> names;
        std::string_view rest = value;
        while (true) {
            const auto comma = rest.find(',');
            const std::string_view name = trimmedBlanks(rest.substr(0, comma));
            if (!name.empty()) names.emplace(name);
            if (comma == std::string_view::npos) break;
            rest.remove_prefix(comma + 1);
        }
        if (names.empty()) return;
        AudioTrackMetadata* track = currentTrackMetadata();
        auto& field = track ? (*track).*trackField : metadata_.*releaseField;
        if (!field) field.emplace();
        field->insert(names.begin(), names.end());
        logMetadata(track ? trackLabel : releaseLabel, joinedNames(names));
    }

    double readDecimal(const Line& current) {
        const std::string value = argument(current);
        TextScanner number(value);
        const auto parsed = number.scanDecimal();
        if (!parsed) fail(Kind::REPLAYGAIN_InvalidValue, line_, value);
        return *parsed;
    }

    static std::string gainText(double value, bool isGain) {
        char text[64];
        std::snprintf(text, sizeof text, isGain ? "%.2f dB" : "%.2f", value);
        return text;
    }

    void readTrackGain(const Line& current, std::optional<double> AudioTrackMetadata::*field, bool isGain) {
        const double value = readDecimal(current);
        auto* track = currentTrackMetadata();
        if (!track) {
            LogEntry::warning("Track replay gain before any track is ignored (" + lineText(line_) + ")")
                .print();
            return;
        }
        (*track).*field = value;
        logMetadata(isGain ? "Replay gain" : "Peak amplitude", gainText(value, isGain));
    }

    void readAlbumGain(const Line& current, std::optional<double>& field, bool isGain) {
        field = readDecimal(current);
        logMetadata(isGain ? "Replay gain" : "Peak amplitude", gainText(*field, isGain));
    }

    std::string text_;
    Url url_;
    TextScanner scanner_;
    long line_ = 1;
    long trackCommandCount_ = 0;
    std::vector<std::string> filenames_;
    std::vector<CueSheetTrack> tracks_;
    std::optional<CueSheetTrack> track_;
    AudioMetadata metadata_;
};

} // namespace

CueSheet::CueSheet(const Url& url)
    : CueSheet(parse(TextFileDecoder::decode(url), url)) {}

CueSheet CueSheet::parse(std::string text, const Url& url) {
    return CueSheetParser(std::move(text), url).run();
}

std::int64_t CueSheet::parseIndexTime(std::string_view text, long line) {
    const std::string_view trimmed = trimmedBlanks(text);
    if (trimmed.empty()) fail(Kind::commandHasNoArgument, line);
    const std::string value(trimmed);
    TextScanner scanner(trimmed);
    // Unsigned comparisons: a negative field fails like one that is too large.
    const auto inRange = [](std::optional<long long> field, unsigned long long maximum) {
        return field && static_cast<unsigned long long>(*field) <= maximum;
    };
    const auto minutes = scanner.scanInteger();
    if (!inRange(minutes, 99) || !scanner.consume(':')) fail(Kind::INDEX_InvalidMinuteValue, line, value);
    const auto seconds = scanner.scanInteger();
    if (!inRange(seconds, 59) || !scanner.consume(':')) fail(Kind::INDEX_InvalidSecondValue, line, value);
    const auto sectors = scanner.scanInteger();
    if (!inRange(sectors, 74)) fail(Kind::INDEX_InvalidBlockValue, line, value);
    return (*minutes * 60 + *seconds) * cdda::framesPerSecond + *sectors * cdda::framesPerSector;
}

const char* localizationKey(CueSheetTrack::PregapType type) {
    switch (type) {
    case CueSheetTrack::PregapType::none:
        return "kLKCueSheetPregapType_None";
    case CueSheetTrack::PregapType::prepended:
        return "kLKCueSheetPregapType_Prepended";
    case CueSheetTrack::PregapType::appended:
        return "kLKCueSheetPregapType_Appended";
    case CueSheetTrack::PregapType::noncompliant:
        return "kLKCueSheetPregapType_Noncompliant";
    case CueSheetTrack::PregapType::fake:
        return "kLKCueSheetPregapType_Fake";
    }
    return "";
}

std::string localizedDescription(CueSheetTrack::PregapType type) {
    switch (type) {
    case CueSheetTrack::PregapType::none:
        return "No pregap";
    case CueSheetTrack::PregapType::prepended:
        return "Pregap at the start of the track's own file";
    case CueSheetTrack::PregapType::appended:
        return "Pregap at the end of the previous track's file";
    case CueSheetTrack::PregapType::noncompliant:
        return "Pregap laid down in a non-standard way";
    case CueSheetTrack::PregapType::fake:
        return "Pregap of silence that is in no file";
    }
    return "";
}

const char* localizationKey(CueSheet::RipStyle style) {
    return style == CueSheet::RipStyle::range ? "kLKCueSheet_RipStyle_Range" : "kLKCueSheet_RipStyle_Multi";
}

const char* localizationCommentKey(CueSheet::RipStyle style) {
    return style == CueSheet::RipStyle::range ? "kLKCueSheet_RipStyle_Range_comment"
                                              : "kLKCueSheet_RipStyle_Multi_comment";
}

std::string localizedDescription(CueSheet::RipStyle style) {
    return style == CueSheet::RipStyle::range ? "One file for the whole disc" : "One file per track";
}

} // namespace lorvan
