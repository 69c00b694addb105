#include "cuesheet/AudioDiscError.hpp"
#include "cuesheet/CueSheet.hpp"
#include "disc/AudioDisc.hpp"
#include "disc/AudioDiscDataError.hpp"
#include "platform/AudioFixtures.hpp"
#include "platform/FFmpegAudioEncoder.hpp"
#include "platform/PlatformDiscServices.hpp"
#include "support/TestSupport.hpp"

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace lorvan {
namespace {

using test::CapturedLog;
using test::TemporaryDirectory;

constexpr std::int64_t sector = 588;
constexpr auto withPregap = AudioDisc::TrackLengthMode::includingNextTrackPregap;
const std::string oneTrack = "FILE \"a.wav\" WAVE\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n";

class AudioDiscTest : public ::testing::Test {
protected:
    void wave(const std::string& name, std::int64_t frames, int rate = 44100) {
        test::writeWave(directory.path() / name, rate, 2, 16, test::testSignal(frames, 2, 16, 1));
    }
    CueSheet sheet(const std::string& text, const std::string& name = "disc.cue") {
        directory.write(name, text);
        return CueSheet(Url::fileURL(directory.path() / name));
    }
    AudioDisc fromSheet(const std::string& text) { return AudioDisc::fromCueSheet(sheet(text), services); }
    AudioDisc fromDirectory() { return AudioDisc::fromDirectory(Url::fileURL(directory.path()), services); }
    template <typename Action> AudioDiscError discError(Action action) {
        return test::thrown<AudioDiscError>(action);
    }
    std::vector<std::tuple<std::int64_t, long, long>> cueTuples(const AudioDisc& disc) {
        std::vector<std::tuple<std::int64_t, long, long>> result;
        for (const auto& cue : disc.cues)
            result.emplace_back(cue.keyFrame, cue.trackIndex, cue.chapter);
        return result;
    }

    TemporaryDirectory directory;
    AudioDiscServices services = platform::audioDiscServices();
    CapturedLog log;
};

using Cues = std::vector<std::tuple<std::int64_t, long, long>>;

// Near misses must not count: another case, a subfolder, a longer name.
TEST_F(AudioDiscTest, aMissingFileIsLookedForUnderOtherExtensionsInTheSheetsFolderOnly) {
    wave("track01.WAV", sector * 10);
    std::filesystem::create_directory(directory.path() / "sub");
    wave("sub/track01.wav", sector * 10);
    wave("track01.flac.tmp", 10);
    const std::string text = "FILE \"track01.wav\" WAVE\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n";
    const auto error = discError([&] { (void)fromSheet(text); });
    EXPECT_EQ(error.kind(), AudioDiscError::Kind::audioFileNotFound);
    EXPECT_EQ(error.value(), "track01.wav");

    platform::writeAudioFile(directory.path() / "track01.flac", platform::AudioFileEncoding::flac, 44100, 2,
                             16, test::testSignal(sector * 10, 2, 16, 1));
    const CapturedLog retry;
    EXPECT_EQ(fromSheet(text).data->audioFiles().front()->url().lastPathComponent(), "track01.flac");
    EXPECT_TRUE(retry.contains("Couldn't find file"));
    EXPECT_TRUE(retry.contains(": track01.flac found!"));
    EXPECT_FALSE(retry.contains("track01.aif ")) << "the search stops at the first hit";

    const auto gone = discError([&] {
        (void)AudioDisc::resolveAudioFile("track01.wav", Url::fileURL(directory.path() / "gone.cue"));
    });
    EXPECT_EQ(gone.kind(), AudioDiscError::Kind::cueSheetFileNotFound);
    EXPECT_EQ(gone.value(), "gone.cue");
}

TEST_F(AudioDiscTest, pregapsAreAcceptedOnTheFirstTwoTracksOnly) {
    wave("a.wav", sector * 300);
    const std::string t2 = "  TRACK 02 AUDIO\n    PREGAP 00:00:10\n    INDEX 01 00:01:00\n";
    const std::string t3 = "  TRACK 03 AUDIO\n    PREGAP 00:00:10\n    INDEX 01 00:02:00\n";
    EXPECT_NO_THROW((void)fromSheet(oneTrack + t2));
    EXPECT_EQ(discError([&] { (void)fromSheet(oneTrack + t2 + t3); }).kind(),
              AudioDiscError::Kind::innacurateDiscFromMultiplePregapOrPostgap);
    const auto error = discError([&] { (void)fromSheet(oneTrack + "    POSTGAP 00:00:10\n"); });
    EXPECT_EQ(error.kind(), AudioDiscError::Kind::innacurateDiscFromMultiplePregapOrPostgap);
    EXPECT_EQ(error.errorDescription(), "Innacurate Disc");
}

TEST_F(AudioDiscTest, firstTrackPregapBecomesSilenceAndShiftsEveryCue) {
    wave("a.wav", sector * 1000);
    const auto disc =
        fromSheet("FILE \"a.wav\" WAVE\n  TRACK 01 AUDIO\n    PREGAP 00:02:00\n    INDEX 01 00:00:00\n"
                  "  TRACK 02 AUDIO\n    INDEX 00 00:05:00\n    INDEX 01 00:06:00\n    INDEX 02 00:07:00\n");
    EXPECT_EQ(disc.data->artificialPregapFrames(), 88200U);
    EXPECT_EQ(cueTuples(disc), (Cues{{0, 0, 0},
                                     {88200, 0, 1},
                                     {88200 + 5 * 44100, 1, 0},
                                     {88200 + 6 * 44100, 1, 1},
                                     {88200 + 7 * 44100, 1, 2}}));
    ASSERT_EQ(disc.tracks.size(), 2U);
    EXPECT_EQ(disc.tracks[0].cueIndices, (std::vector<std::size_t>{0, 1}));
    EXPECT_EQ(disc.tracks[1].cueIndices, (std::vector<std::size_t>{2, 3, 4}));
    EXPECT_EQ(disc.tracks[1].discID, disc.id);
    EXPECT_EQ(std::tuple(disc.trackStartFrame(disc.tracks[0]), disc.trackStartFrame(disc.tracks[1])),
              std::tuple(88200, 88200 + 6 * 44100));
    using enum AudioCue::CueType;
    EXPECT_EQ(std::tuple(disc.cues[0].cueType(), disc.cues[3].cueType(), disc.cues[4].cueType()),
              std::tuple(trackPregap, trackStart, trackChapter));
    EXPECT_EQ(disc.source.kind, AudioDisc::Source::Kind::cueSheet);
}

// Frames count on across the files. The running offset adds only the length of the file being
// left, even when the sheet jumps over a file that holds no index; a pregap may sit at the end of
// the previous file, and a track's length then ends where that pregap starts, or not.
TEST_F(AudioDiscTest, cuesOfMultiFileSheetsCountOnAcrossTheFiles) {
    wave("01.wav", sector * 100);
    wave("02.wav", sector * 200);
    wave("03.wav", sector * 300);
    const std::string file1 = "FILE \"01.wav\" WAVE\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n";
    const auto jump = fromSheet(file1 + "FILE \"02.wav\" WAVE\n"
                                        "FILE \"03.wav\" WAVE\n  TRACK 02 AUDIO\n    INDEX 01 00:00:10\n");
    EXPECT_EQ(jump.data->totalFrameCount(), sector * 600);
    EXPECT_EQ(cueTuples(jump), (Cues{{0, 0, 1}, {sector * 100 + sector * 10, 1, 1}}));

    const auto disc = fromSheet(file1 + "  TRACK 02 AUDIO\n    INDEX 00 00:01:00\n"
                                        "FILE \"02.wav\" WAVE\n    INDEX 01 00:00:00\n");
    EXPECT_EQ(cueTuples(disc), (Cues{{0, 0, 1}, {sector * 75, 1, 0}, {sector * 100, 1, 1}}));
    EXPECT_TRUE(disc.canBeCDDA);
    EXPECT_EQ(disc.trackLength(disc.tracks[0], withPregap), sector * 75);
    EXPECT_EQ(disc.trackLength(disc.tracks[0], AudioDisc::TrackLengthMode::excludingNextTrackPregap),
              sector * 100);
    EXPECT_EQ(disc.trackLength(disc.tracks[1], withPregap), sector * 200);
}

// Each sheet would give a disc that plays from the wrong place or not at all; the boundary
// sector (the file's last) is still accepted.
TEST_F(AudioDiscTest, aDiscThatCannotPlayIsRefusedAfterALineNamingTheTrackTheIndexAndTheFile) {
    wave("01.wav", sector * 100);
    wave("02.wav", sector * 200);
    const std::string file1 = "FILE \"01.wav\" WAVE\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n";
    EXPECT_EQ(fromSheet(file1 + "  TRACK 02 AUDIO\n    INDEX 01 00:01:24\n").cues.back().keyFrame,
              sector * 99);
    for (const auto& [text, line] : std::vector<std::pair<std::string, std::string>>{
             {file1 + "  TRACK 02 AUDIO\n    INDEX 01 00:01:25\n",
              "Track 02 INDEX 01 at frame 58800 is past the end of '01.wav' (58800 frames)"},
             {file1 + "  TRACK 02 AUDIO\n    INDEX 01 00:20:00\n",
              "Track 02 INDEX 01 at frame 882000 is past the end of '01.wav' (58800 frames)"},
             // The pregap at the end of the previous file runs past it into the next one.
             {file1 +
                  "  TRACK 02 AUDIO\n    INDEX 00 00:01:30\nFILE \"02.wav\" WAVE\n    INDEX 01 00:00:00\n",
              "Track 02 INDEX 00 at frame 61740 is past the end of '01.wav' (58800 frames)"},
             {"FILE \"02.wav\" WAVE\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\nFILE \"01.wav\" WAVE\n"
              "  TRACK 02 AUDIO\n    INDEX 01 00:02:00\n",
              "Track 02 INDEX 01 at frame 88200 is past the end of '01.wav' (58800 frames)"},
             {file1 + "  TRACK 02 AUDIO\n    INDEX 00 00:01:00\n", "Track 02 has no INDEX 01"},
             {file1 + "  TRACK 02 AUDIO\n  TRACK 03 AUDIO\n    INDEX 01 00:01:00\n",
              "Track 02 has no INDEX 01"},
             // A data track first ends the sheet before any audio track.
             {"FILE \"01.wav\" WAVE\n  TRACK 01 MODE1/2352\n    INDEX 01 00:00:00\n  TRACK 02 AUDIO\n"
              "    INDEX 01 00:00:10\n",
              "the cue sheet has no audio track"}}) {
        SCOPED_TRACE(text);
        const CapturedLog refused;
        EXPECT_EQ(discError([&] { (void)fromSheet(text); }).kind(), AudioDiscError::Kind::dummy);
        EXPECT_TRUE(refused.contains("Disc cannot play")) << refused.text();
        EXPECT_TRUE(refused.contains(line)) << refused.text();
    }
}

// 20,000 FILE lines naming one file: one resolution, one open file shared by every entry.
TEST_F(AudioDiscTest, aFileNamedManyTimesIsResolvedAndOpenedOnce) {
    wave("a.wav", sector * 10);
    int opened = 0;
    services.openAudioFile = [&, open = services.openAudioFile](const Url& url) {
        ++opened;
        return open(url);
    };
    std::string text = oneTrack;
    for (int i = 1; i < 20'000; ++i)
        text += "FILE \"a.wav\" WAVE\n";
    const CapturedLog resolving;
    const auto disc = fromSheet(text);
    EXPECT_EQ(opened, 1);
    ASSERT_EQ(disc.data->audioFiles().size(), 20'000U);
    EXPECT_EQ(disc.data->audioFiles().back(), disc.data->audioFiles().front());
    EXPECT_EQ(disc.data->totalFrameCount(), sector * 10 * 20'000);
    EXPECT_EQ(resolving.count("Found audio file"), 1U);
    // Reads still walk the axis: the last entry is the same file read from its start.
    EXPECT_EQ(disc.data->frameLocation(sector * 10 * 19'999), (AudioDiscData::FrameLocation{19'999, 0}));
    EXPECT_EQ(disc.data->newPCMBuffer(sector * 10 * 19'999, 100)->frameLength(), 100U);
}

// A pipe would block the open, a folder or a dangling link cannot be read.
TEST_F(AudioDiscTest, aFileEntryThatIsNotARegularFileIsRefusedBeforeItIsOpened) {
    ASSERT_EQ(::mkfifo((directory.path() / "pipe.wav").c_str(), 0600), 0);
    std::filesystem::create_directory(directory.path() / "folder.wav");
    std::filesystem::create_symlink("/dev/zero", directory.path() / "zero.wav");
    for (const std::string name : {"pipe.wav", "folder.wav", "zero.wav"}) {
        SCOPED_TRACE(name);
        const auto error = discError([&] {
            (void)fromSheet("FILE \"" + name + "\" WAVE\n  TRACK 01 AUDIO\n    INDEX 01 00:00:00\n");
        });
        EXPECT_EQ(error.kind(), AudioDiscError::Kind::notARegularFile);
        EXPECT_EQ(error.value(), name);
        EXPECT_EQ(error.failureReason(),
                  "'" + name +
                      "' is not a regular file; a folder, a pipe or a device cannot be "
                      "read as audio.");
    }
}

// Name order, audio extensions only (as written: "c.WAV" is not one), and no hidden entry or
// anything that is not a regular file: each of those is skipped with a line.
TEST_F(AudioDiscTest, aFolderGivesOneTrackPerRegularAudioFileInNameOrder) {
    wave("b.wav", sector * 50);
    wave("a.wav", sector * 70);
    wave("c.WAV", sector * 70);
    directory.write("cover.jpg", "jpeg");
    directory.write("._a.wav", "Mac resource fork, not audio");
    wave(".hidden.wav", sector * 10);
    std::filesystem::create_directory(directory.path() / "d.flac");
    ASSERT_EQ(::mkfifo((directory.path() / "e.wav").c_str(), 0600), 0);
    std::filesystem::create_symlink(directory.path() / "gone.wav", directory.path() / "f.flac");
    const auto disc = fromDirectory();
    ASSERT_EQ(disc.data->audioFiles().size(), 2U);
    EXPECT_EQ(disc.data->audioFiles()[0]->url().lastPathComponent(), "a.wav");
    EXPECT_EQ(cueTuples(disc), (Cues{{0, 0, 1}, {sector * 70, 1, 1}}));
    std::vector<std::string> skipped;
    for (const auto& line : log.lines())
        if (line.find("Skipping") != std::string::npos) skipped.push_back(line.substr(line.rfind(' ') + 1));
    EXPECT_EQ(skipped, (std::vector<std::string>{"._a.wav", ".hidden.wav", "d.flac", "e.wav", "f.flac"}));
    EXPECT_EQ(disc.source.kind, AudioDisc::Source::Kind::directory);
    ASSERT_TRUE(disc.artworkURL.has_value());
    EXPECT_EQ(disc.artworkURL->lastPathComponent(), "cover.jpg");
    // A folder is never identified as a CD, whatever its shape.
    EXPECT_TRUE(disc.canBeCDDA);
    EXPECT_FALSE(disc.onlineID.has_value());
    EXPECT_EQ(disc.tableOfContents(TOCMode::tracksMusicBrainz, withPregap),
              std::vector<std::string>{"N/A: Disc is not CDDA"});
    EXPECT_TRUE(log.contains("Audio disc successfully initialised"));
}

// Nothing left once the picture and the hidden entry are set aside: the folder has no audio.
TEST_F(AudioDiscTest, directoryRefusals) {
    directory.write("cover.png", "png");
    directory.write("._a.flac", "Mac resource fork, not audio");
    EXPECT_EQ(discError([&] { (void)fromDirectory(); }).kind(), AudioDiscError::Kind::noAudioFileInDirectory);
    const auto missing = discError(
        [&] { (void)AudioDisc::fromDirectory(Url::fileURL(directory.path() / "nowhere"), services); });
    EXPECT_EQ(missing.kind(), AudioDiscError::Kind::directoryDoesntExist);
    EXPECT_EQ(missing.errorDescription(), "Directory doesn't exist");
    EXPECT_TRUE(log.contains("No audio file | 'No audio file we found in the chosen folder.'"));
}

TEST_F(AudioDiscTest, artworkBaseNamesComeBeforeExtensions) {
    const Url folder = Url::fileURL(directory.path());
    directory.write("folder.jpg", "x");
    directory.write("cover.png", "x");
    EXPECT_EQ(AudioDisc::findArtwork(folder, std::nullopt)->lastPathComponent(), "cover.png");
    directory.write("cover.jpg", "x");
    EXPECT_EQ(AudioDisc::findArtwork(folder, std::nullopt)->lastPathComponent(), "cover.png");
    directory.write("My Disc.webp", "x");
    EXPECT_EQ(AudioDisc::findArtwork(folder, "My Disc")->lastPathComponent(), "My Disc.webp");
    EXPECT_FALSE(AudioDisc::findArtwork(Url::fileURL(directory.path() / "cover.png"), std::nullopt));
    TemporaryDirectory empty;
    EXPECT_FALSE(AudioDisc::findArtwork(Url::fileURL(empty.path()), "x"));
    EXPECT_TRUE(log.contains("Couldn't find arwork in directory"));
}

TEST_F(AudioDiscTest, finalStepRefusesCuesOutOfOrder) {
    wave("a.wav", sector * 100);
    auto data = AudioDiscData::create({Url::fileURL(directory.path() / "a.wav")}, 0, services.openAudioFile);
    const auto cue = [](std::int64_t frame, long track, long chapter) {
        return AudioCue{Uuid::random(), frame, track, chapter};
    };
    const auto make = [&](std::vector<AudioCue> cues) {
        return AudioDisc(data, std::move(cues), std::nullopt, AudioDisc::Source::directory(Url()), services);
    };
    // No cues, two cues on one frame, a track going back, a chapter going back.
    for (const auto& cues : std::vector<std::vector<AudioCue>>{
             {}, {cue(0, 0, 1), cue(0, 1, 1)}, {cue(0, 1, 1), cue(10, 0, 2)}, {cue(0, 0, 2), cue(10, 0, 1)}})
        EXPECT_EQ(discError([&] { (void)make(cues); }).kind(), AudioDiscError::Kind::dummy);
    const AudioDisc ok = make({cue(0, 0, 1), cue(10, 0, 2), cue(20, 1, 0)});
    ASSERT_EQ(ok.tracks.size(), 2U);
    const auto& id = ok.cues[2].id;
    EXPECT_EQ(std::tuple(ok.cuePosition(id), ok.cueLastFrame(id), ok.cueKeySector(id), ok.cueLastSector(id)),
              std::tuple(2U, sector * 100 - 1, 0, 99));
    EXPECT_EQ(ok.cueLastFrame(ok.cues[0].id), 9);
    EXPECT_FALSE(ok.cuePosition(Uuid::random()));
    // No start cue on the second track: identifiers count it from frame 0.
    EXPECT_FALSE(ok.trackStartFrame(ok.tracks[1]));
}

TEST_F(AudioDiscTest, nonCDDiscsHaveNoIdentifiersAndFrameTables) {
    wave("a.wav", 48000 * 3, 48000);
    const auto disc = fromSheet(oneTrack + "  TRACK 02 AUDIO\n    INDEX 01 00:01:00\n");
    EXPECT_FALSE(disc.canBeCDDA);
    EXPECT_FALSE(disc.onlineID.has_value());
    const auto lines = disc.tableOfContents(TOCMode::tracksRipper, withPregap);
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[0], " Track |      Start |        End |     Length | Start    | End      | Duration ");
    EXPECT_EQ(lines[2], std::string(79, '='));
    // Track 2 starts at one CD second, 44100 frames, which is 0.91875 s at 48 kHz.
    EXPECT_EQ(lines[4], "     2 |      44100 |     143999 |      99900 | 00:00.91 | 00:03.00 | 00:02.08 ");
}

TEST_F(AudioDiscTest, cdTablesInSectorsAreLoggedInOrder) {
    wave("a.wav", sector * 75 * 10);
    const auto disc =
        fromSheet("FILE \"a.wav\" WAVE\n  TRACK 01 AUDIO\n    PREGAP 00:02:00\n    INDEX 01 00:00:00\n"
                  "  TRACK 02 AUDIO\n    INDEX 00 00:04:00\n    INDEX 01 00:05:00\n");
    const auto cues = disc.tableOfContents(TOCMode::cues, withPregap);
    ASSERT_EQ(cues.size(), 7U);
    EXPECT_EQ(cues[0], "  Cue | Track     |    Key | Length | Key Time | Duration ");
    EXPECT_EQ(cues[2], std::string(58, '='));
    EXPECT_EQ(cues[3], "    1 |   1[0]    |      0 |    150 | 00:00.00 | 00:02.00 ");
    EXPECT_EQ(cues[4], "    2 |   1[1]    |    150 |    300 | 00:02.00 | 00:04.00 ");
    EXPECT_EQ(cues[6], "    4 |   2[1]    |    525 |    375 | 00:07.00 | 00:05.00 ");
    const auto ripper = disc.tableOfContents(TOCMode::tracksRipper, withPregap);
    EXPECT_EQ(ripper[0], " Track |  Start |    End | Length | Start    | End      | Duration ");
    EXPECT_EQ(ripper[3], "     1 |    150 |    449 |    300 | 00:02.00 | 00:06.00 | 00:04.00 ");
    const auto brainz = disc.tableOfContents(TOCMode::tracksMusicBrainz, withPregap);
    EXPECT_EQ(brainz[4], "     2 | 00:09.00     675 | 00:05.00     375 | 00:14.00    1050 ");
    // The log holds the three tables, one "Table of Content" line per table line.
    EXPECT_EQ(log.count("Table of Content"), cues.size() + ripper.size() + brainz.size());
    // With the pregap cue first, the playing time runs from track 1's INDEX 01.
    ASSERT_TRUE(disc.onlineID.has_value());
    EXPECT_EQ(disc.onlineID->cddbValue & 0x00FFFF00U, 10U << 8);
}

// Hand-written Vorbis tags fill the release from the first file that has each field; tags that
// FFmpeg writes into real files come back through TagLib under those same names.
TEST_F(AudioDiscTest, tagsFillReleaseAndTracksAndRealFilesGiveTheVorbisNames) {
    const AudioFileTags first{{"vorb/TITLE", {"One"}},
                              {"vorb/ARTIST", {"Ann", "Bob"}},
                              {"vorb/ALBUM", {"Record"}},
                              {"vorb/ALBUMARTIST", {"Ann"}},
                              {"vorb/DATE", {"1999-07-14"}},
                              {"vorb/ISRC", {"USRC17607839"}},
                              {"vorb/DISCNUMBER", {"2/3"}},
                              {"vorb/REPLAYGAIN_ALBUM_GAIN", {"-6.50 dB"}},
                              {"vorb/REPLAYGAIN_ALBUM_PEAK", {"0.988"}},
                              {"vorb/REPLAYGAIN_TRACK_GAIN", {"+1.25 dB"}},
                              {"vorb/REPLAYGAIN_TRACK_PEAK", {"0.5"}}};
    const auto metadata =
        metadataFromTags({first, {{"vorb/TITLE", {"Two"}}, {"vorb/DATE", {"not a date"}}}, {}});
    ASSERT_TRUE(metadata.has_value());
    EXPECT_EQ(metadata->releaseTitle, "Record");
    EXPECT_EQ(metadata->releasePerformers, (std::set<std::string>{"Ann"}));
    ASSERT_TRUE(metadata->initialDate.has_value());
    EXPECT_EQ(metadata->initialDate->description(), "1999-07-14");
    EXPECT_EQ(metadata->editionDate, metadata->initialDate);
    EXPECT_EQ(std::tuple(metadata->discNumber, metadata->totalDiscs, metadata->discGain, metadata->discPeak),
              std::tuple(2, 3, -6.5, 0.988));
    AudioTrackMetadata one, two;
    std::tie(one.title, one.isrc, one.gain, one.peak) = std::tuple("One", "USRC17607839", 1.25, 0.5);
    one.performers = {"Ann", "Bob"};
    two.title = "Two";
    EXPECT_EQ(metadata->tracksMetadata, (std::vector<AudioTrackMetadata>{one, two, {}}));
    EXPECT_FALSE(metadataFromTags({{}, {{"vorb/ENCODER", {"x"}}}}).has_value());

    // Each tag as FFmpeg writes it, beside the Vorbis name it comes back under.
    const std::tuple<std::string, std::string, std::string> names[]{
        {"title", "TITLE", "Song"},
        {"artist", "ARTIST", "Ann"},
        {"album", "ALBUM", "Record"},
        {"album_artist", "ALBUMARTIST", "Band"},
        {"date", "DATE", "2001"},
        {"disc", "DISCNUMBER", "1/2"},
        {"REPLAYGAIN_TRACK_GAIN", "REPLAYGAIN_TRACK_GAIN", "-3.00 dB"}};
    std::map<std::string, std::string> written;
    AudioFileTags vorbis;
    for (const auto& [ffmpeg, vorbisName, value] : names) {
        written[ffmpeg] = value;
        vorbis["vorb/" + vorbisName] = {value};
    }
    for (auto [encoding, name] : {std::pair{platform::AudioFileEncoding::flac, "a.flac"},
                                  std::pair{platform::AudioFileEncoding::mp3, "a.mp3"},
                                  std::pair{platform::AudioFileEncoding::alac, "a.m4a"}}) {
        SCOPED_TRACE(name);
        platform::writeAudioFile(directory.path() / name, encoding, 44100, 2, 16,
                                 test::testSignal(sector * 30, 2, 16, 1), written);
        // The MPEG-4 file comes back without the replay gain.
        if (encoding == platform::AudioFileEncoding::alac) vorbis.erase("vorb/REPLAYGAIN_TRACK_GAIN");
        EXPECT_EQ(metadataFromTags({platform::readTagLibTags(Url::fileURL(directory.path() / name))}),
                  metadataFromTags({vorbis}));
    }
    EXPECT_TRUE(platform::readTagLibTags(Url::fileURL(directory.path() / "missing.flac")).empty());
}

} // namespace
} // namespace lorvan
