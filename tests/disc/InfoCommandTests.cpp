#include "platform/AudioFixtures.hpp"
#include "platform/FFmpegAudioEncoder.hpp"
#include "support/TestSupport.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

namespace lorvan {
namespace {

using test::TemporaryDirectory;
using testing::HasSubstr;
namespace fs = std::filesystem;
const auto quoted = test::shellQuoted;

test::ProcessRun cli(const std::string& arguments) {
    return test::runProcess(LORVAN_CLI, arguments);
}

nlohmann::json refusal(const std::string& arguments) {
    const test::ProcessRun run = cli(arguments + " --json");
    EXPECT_EQ(run.status, 1) << arguments;
    const auto document = nlohmann::json::parse(run.out);
    const auto& error = document.at("error");
    for (const char* key : {"type", "kind", "line", "value", "errorDescription", "failureReason"})
        EXPECT_TRUE(error.contains(key)) << key;
    return error;
}

class DemoDisc : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        directory = new TemporaryDirectory();
        ASSERT_EQ(cli("demo --dir " + quoted(directory->path() / "single")).status, 0);
        ASSERT_EQ(cli("demo --split --dir " + quoted(directory->path() / "split")).status, 0);
    }
    static void TearDownTestSuite() { delete directory; }
    static fs::path sheet(const char* layout) { return directory->path() / layout / "Lorvan Demo.cue"; }
    static TemporaryDirectory* directory;
};
TemporaryDirectory* DemoDisc::directory = nullptr;

// The single-file sheet, the split one and the split folder (opened through its only sheet) are
// the same CD; the log of the assembly, identifiers and tables included, goes to standard output.
TEST_F(DemoDisc, bothLayoutsAndTheFolderAreTheSameCD) {
    const fs::path folder = sheet("split").parent_path();
    std::vector<nlohmann::json> documents;
    for (const fs::path& path : {sheet("single"), sheet("split"), folder}) {
        SCOPED_TRACE(path);
        const test::ProcessRun run = cli("info " + quoted(path));
        ASSERT_EQ(run.status, 0) << run.out;
        EXPECT_THAT(run.out, HasSubstr("Disc ID - Accurated Rip v2"));
        EXPECT_THAT(run.out, HasSubstr("Found artwork file ···················· : cover.png"));
        EXPECT_THAT(run.out, HasSubstr(" Track |      Start       |      Length      |       End        "));
        EXPECT_THAT(run.out, HasSubstr("New audio disc from cue sheet"));
        documents.push_back(nlohmann::json::parse(cli("info --json " + quoted(path)).out));
    }
    EXPECT_THAT(cli("info " + quoted(folder)).out, HasSubstr("Opening the folder's only cue sheet"));
    for (const char* key : {"onlineID", "cues", "tracks", "frameCount"}) {
        EXPECT_EQ(documents[0][key], documents[1][key]) << key;
        EXPECT_EQ(documents[2][key], documents[1][key]) << key;
    }
}

TEST_F(DemoDisc, jsonDescribesTheWholeDisc) {
    const test::ProcessRun run = cli("info " + quoted(sheet("single")) + " --json");
    ASSERT_EQ(run.status, 0);
    const auto disc = nlohmann::json::parse(run.out); // only the document is on standard output
    EXPECT_EQ(disc["source"], nlohmann::json({{"type", "cueSheet"}, {"path", sheet("single").string()}}));
    // 2 s of artificial pregap, then 30 s of music.
    const auto format = nlohmann::json::parse(R"({"canBeCDDA": true, "sampleRate": 44100.0, "channels": 2,
        "bitDepth": 16, "frameCount": 1411200, "playbackFrameCount": 1323000})");
    for (const auto& [key, value] : format.items())
        EXPECT_EQ(disc.at(key), value) << key;
    EXPECT_EQ(disc["artwork"], (directory->path() / "single" / "cover.png").string());
    const auto& id = disc["onlineID"];
    for (const char* key : {"accurateRipV1", "accurateRipV2", "freedb"})
        EXPECT_THAT(id[key].get<std::string>(), testing::MatchesRegex("[0-9a-f]{8}")) << key;
    EXPECT_EQ(id["musicBrainz"].get<std::string>().size(), 28U);
    EXPECT_EQ(id["musicBrainzURL"], "https://musicbrainz.org/cdtoc/" + id["musicBrainz"].get<std::string>());
    ASSERT_EQ(disc["cues"].size(), 6U);
    EXPECT_EQ(disc["cues"][5],
              nlohmann::json::parse(R"({"keyFrame": 1190700, "trackIndex": 2, "chapter": 2})"));
    ASSERT_EQ(disc["tracks"].size(), 3U);
    // Track 2 starts 12 s in, after a second of pregap.
    const auto second = nlohmann::json::parse(R"({"index": 1, "cueIndices": [2, 3], "startFrame": 529200,
        "pregapFrames": 44100, "title": "A Minor Walk", "performers": ["Lorvan Strings"]})");
    for (const auto& [key, value] : second.items())
        EXPECT_EQ(disc.at("tracks").at(1).at(key), value) << key;
    EXPECT_EQ(disc["metadata"]["releaseTitle"], "Lorvan Demo Disc");
}

class BadInput : public ::testing::Test {
protected:
    /// A sheet in its own folder, one track per file.
    fs::path sheetFor(const std::string& folder, const std::vector<std::string>& files) {
        std::string text;
        for (std::size_t i = 0; i < files.size(); ++i)
            text += "FILE \"" + files[i] + "\" WAVE\n  TRACK 0" + std::to_string(i + 1) +
                    " AUDIO\n    INDEX 01 00:00:00\n";
        return directory.write(folder + "/disc.cue", text);
    }
    TemporaryDirectory directory;
};

// Which input is refused is the reader's, the sheet's and the disc's business; here each kind of
// refusal reaches the user as its JSON document.
TEST_F(BadInput, eachRefusalIsAJsonDocumentOfItsError) {
    for (const char* folder : {"empty", "mixed"})
        fs::create_directory(directory.path() / folder);
    const auto fifo = directory.path() / "pipe.cue";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    directory.write("text/text.flac", "FILE \"x.wav\" WAVE\nnot audio at all\n");
    for (const auto& [name, bits] : {std::pair{"a.flac", 16}, {"b.flac", 24}})
        platform::writeAudioFile(directory.path() / "mixed" / name, platform::AudioFileEncoding::flac, 44100,
                                 2, bits, test::testSignal(588 * 100, 2, bits, 3));
    const std::string notRegular = "It is not a regular file (a pipe, a socket or a device).";
    const struct {
        fs::path path;
        std::string type;
        std::optional<std::string> kind = {}, value = {}, reason = {};
    } rows[]{
        {directory.path() / "none.cue", "InputError", "fileNotFound"},
        {sheetFor("gone", {"gone.flac"}), "AudioDiscError", "audioFileNotFound", "gone.flac"},
        // A folder with one cue sheet opens through it.
        {directory.path() / "gone", "AudioDiscError", "audioFileNotFound", "gone.flac"},
        {directory.path() / "empty", "AudioDiscError", "noAudioFileInDirectory"},
        {sheetFor("text", {"text.flac"}), "LKOSStatus", std::nullopt, "text.flac"},
        {sheetFor("mixed", {"a.flac", "b.flac"}), "AudioDiscDataError", "inconsistentAudioFormat",
         std::nullopt, "All audio files need to use the same audio format."},
        // Reading these would block or grow without end: refused before they are opened.
        {fifo, "InputError", "notARegularFile", std::nullopt, notRegular},
        {"/dev/zero", "InputError", "notARegularFile", std::nullopt, notRegular},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.path);
        const auto error = refusal("info " + quoted(row.path));
        EXPECT_EQ(error["type"], row.type);
        for (const auto& [key, expected] :
             {std::pair{"kind", row.kind}, {"value", row.value}, {"failureReason", row.reason}})
            if (expected) {
                EXPECT_EQ(error[key], *expected) << key;
            }
    }
}

// Without --json a refusal is a readable line after the log.
TEST_F(BadInput, aPlainRefusalIsALineAfterTheLog) {
    const test::ProcessRun missing = cli("info " + quoted(sheetFor("gone", {"gone.flac"})));
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.out, HasSubstr("Trying another extension ·············· : gone.mp3 not found"));
    EXPECT_THAT(missing.out,
                HasSubstr("Couldn't find audio file: The audio file 'gone.flac' isn't in the same "
                          "directory as the cue cheet file.\n"));
}

// A hidden "._" entry is not a second sheet; a real second sheet makes the folder a folder of files.
TEST_F(DemoDisc, aFolderWithTwoCueSheetsIsAFolderOfFiles) {
    TemporaryDirectory copy;
    for (const auto& entry : fs::directory_iterator(sheet("split").parent_path()))
        fs::copy(entry.path(), copy.path() / entry.path().filename());
    copy.write("._Lorvan Demo.cue", "resource fork");
    EXPECT_THAT(cli("info " + quoted(copy.path())).out, HasSubstr("Opening the folder's only cue sheet"));
    fs::copy(sheet("split"), copy.path() / "Other.cue");
    const test::ProcessRun two = cli("info " + quoted(copy.path()));
    EXPECT_EQ(two.status, 0) << two.out;
    EXPECT_THAT(two.out, HasSubstr("New audio disc from directory"));
}

} // namespace
} // namespace lorvan
