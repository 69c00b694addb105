// Pictures in audio files' tags, in files the ffmpeg command writes with its own muxers (the
// pictures are copied into the tags byte for byte).

#include "platform/EmbeddedPicture.hpp"
#include "support/TestSupport.hpp"

#include <gtest/gtest.h>

namespace lorvan {
namespace {

class EmbeddedPictureTest : public testing::Test {
protected:
    void SetUp() override {
        run("-f lavfi -i color=red:s=8x8 -frames:v 1 " + quoted("front.png"));
        run("-f lavfi -i color=blue:s=8x8 -frames:v 1 " + quoted("back.jpg"));
    }
    void run(const std::string& arguments) {
        const auto made = test::runProcess("ffmpeg", "-v error -y " + arguments, "", true);
        ASSERT_EQ(made.status, 0) << made.out;
    }
    [[nodiscard]] std::string quoted(const char* name) const {
        return test::shellQuoted(directory.path() / name);
    }
    [[nodiscard]] std::string silence() const { return "-f lavfi -t 0.2 -i anullsrc=r=44100:cl=stereo "; }

    test::TemporaryDirectory directory;
};

TEST_F(EmbeddedPictureTest, TheFrontCoverComesOutWholeFromFlacMp3AndMpeg4) {
    const std::string front = test::fileText(directory.path() / "front.png");
    ASSERT_FALSE(front.empty());
    run(silence() + "-i " + quoted("front.png") +
        " -map 0:a -map 1:v -c:v copy -disposition:v attached_pic " + quoted("a.flac"));
    // The back cover first: the front one is still the one chosen.
    run(silence() + "-i " + quoted("back.jpg") + " -i " + quoted("front.png") +
        " -map 0:a -map 1:v -map 2:v -c:v copy -disposition:v attached_pic -id3v2_version 3"
        " -metadata:s:v:0 comment='Cover (back)' -metadata:s:v:1 comment='Cover (front)' " +
        quoted("b.mp3"));
    run(silence() + "-i " + quoted("front.png") +
        " -map 0:a -map 1:v -c:a aac -c:v copy -disposition:v attached_pic " + quoted("c.m4a"));
    for (const char* name : {"a.flac", "b.mp3", "c.m4a"}) {
        SCOPED_TRACE(name);
        const auto picture = platform::readEmbeddedPicture(directory.path() / name);
        ASSERT_TRUE(picture);
        EXPECT_EQ(picture->bytes, front);
        EXPECT_EQ(picture->mimeType, "image/png");
    }

    // Only a back cover: that one, a JPEG.
    run(silence() + "-i " + quoted("back.jpg") +
        " -map 0:a -map 1:v -c:v copy -disposition:v attached_pic -id3v2_version 3"
        " -metadata:s:v:0 comment='Cover (back)' " +
        quoted("d.mp3"));
    const auto back = platform::readEmbeddedPicture(directory.path() / "d.mp3");
    ASSERT_TRUE(back);
    EXPECT_EQ(back->bytes, test::fileText(directory.path() / "back.jpg"));
    EXPECT_EQ(back->mimeType, "image/jpeg");
}

TEST_F(EmbeddedPictureTest, NoPictureNoFileOrNoAudioIsNone) {
    run(silence() + quoted("plain.flac"));
    EXPECT_FALSE(platform::readEmbeddedPicture(directory.path() / "plain.flac"));
    EXPECT_FALSE(platform::readEmbeddedPicture(directory.path() / "missing.flac"));
    EXPECT_FALSE(platform::readEmbeddedPicture(directory.write("text.mp3", "not audio at all")));
    EXPECT_FALSE(platform::readEmbeddedPicture(directory.path() / "front.png"));
}

} // namespace
} // namespace lorvan
