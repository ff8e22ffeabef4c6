#include "audio/sample/AudioFileReader.h"
#include "audio/sample/AudioFileWriter.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cmath>
#include <fstream>
#include <sstream>

namespace morvel {
namespace {

class AudioFileWriterTest : public testing::Test {
protected:
    using Encoding = AudioFileWriter::Encoding;

    DecodedAudio read() const {
        auto reader = AudioFileReader::open(file);
        if (!reader)
            return {};
        auto audio = reader->readAll(ReadLimits{});
        return audio ? audio.value() : DecodedAudio{};
    }
    std::string bytes() const {
        std::ostringstream content;
        content << std::ifstream(file, std::ios::binary).rdbuf();
        return content.str();
    }

    TemporaryFolder temporary;
    std::filesystem::path file = temporary.path() / "out.wav";
    PcmBuffer buffer{{{{0.25F, -1.5F, 0.3F}, {0.0F, 1e-9F, -0.7F}}}};
};

TEST_F(AudioFileWriterTest, KeepsFloatSamplesExactly) {
    ASSERT_FALSE(writeAudioFile(file, buffer, Encoding::float32));
    const DecodedAudio audio = read();
    EXPECT_EQ(audio.format, canonicalFormat);
    ASSERT_EQ(audio.channels.size(), 2u);
    EXPECT_EQ(audio.channels[0], buffer.channels[0]);
    EXPECT_EQ(audio.channels[1], buffer.channels[1]);
}

TEST_F(AudioFileWriterTest, RoundsTo24BitsAndLimitsToFullScale) {
    ASSERT_FALSE(writeAudioFile(file, buffer, Encoding::pcm24));
    const DecodedAudio audio = read();
    ASSERT_EQ(audio.channels.size(), 2u);
    const double step = std::ldexp(1.0, -23);
    EXPECT_NEAR(audio.channels[0][0], 0.25, step);
    EXPECT_NEAR(audio.channels[0][1], -1.0, step);
    EXPECT_NEAR(audio.channels[0][2], 0.3, step);
    EXPECT_NEAR(audio.channels[1][2], -0.7, step);
}

TEST_F(AudioFileWriterTest, AppendsInterleavedAndSeparateFramesAlike) {
    auto writer = AudioFileWriter::create(file, Encoding::float32);
    ASSERT_TRUE(writer);
    const std::vector<float> interleaved = {1, 2, 3, 4};
    const std::vector<float> left(5000, 0.1F);
    const std::vector<float> right(5000, 0.2F);
    EXPECT_FALSE(writer->writeInterleaved(interleaved));
    EXPECT_FALSE(writer->write(left, right));
    EXPECT_FALSE(writer->close());
    const DecodedAudio audio = read();
    ASSERT_EQ(audio.frameLength(), 5002u);
    EXPECT_EQ(audio.channels[0][1], 3.0F);
    EXPECT_EQ(audio.channels[1][1], 4.0F);
    EXPECT_EQ(audio.channels[0][5001], 0.1F);
    EXPECT_EQ(audio.channels[1][5001], 0.2F);
}

TEST_F(AudioFileWriterTest, WritesTheSameBytesForTheSameSamples) {
    ASSERT_FALSE(writeAudioFile(file, buffer, Encoding::float32));
    const std::string first = bytes();
    EXPECT_EQ(first.find("PEAK"), std::string::npos); // the chunk that would hold a time stamp
    ASSERT_FALSE(writeAudioFile(file, buffer, Encoding::float32));
    EXPECT_EQ(bytes(), first);
}

TEST_F(AudioFileWriterTest, ReplacesALongerFile) {
    temporary.file("out.wav", std::string(100000, 'x'));
    ASSERT_FALSE(writeAudioFile(file, buffer, Encoding::float32));
    EXPECT_LT(std::filesystem::file_size(file), 1000u);
    EXPECT_EQ(read().frameLength(), 3u);
}

TEST_F(AudioFileWriterTest, CompletesTheFileEvenWhenNobodyCloses) {
    {
        auto writer = AudioFileWriter::create(file, Encoding::float32);
        ASSERT_TRUE(writer);
        ASSERT_FALSE(writer->write(buffer.channels[0], buffer.channels[1]));
    }
    EXPECT_EQ(read().frameLength(), 3u);
}

TEST_F(AudioFileWriterTest, RefusesHalfAFrameUnequalChannelsAndWritingAfterTheEnd) {
    auto writer = AudioFileWriter::create(file, Encoding::float32);
    ASSERT_TRUE(writer);
    const std::vector<float> three(3, 0.5F);
    const std::vector<float> two(2, 0.5F);
    EXPECT_TRUE(writer->writeInterleaved(three));
    EXPECT_TRUE(writer->write(three, two));
    EXPECT_FALSE(writer->close());
    EXPECT_FALSE(writer->close());
    EXPECT_TRUE(writer->writeInterleaved(two));
    EXPECT_EQ(read().frameLength(), 0u);
}

TEST_F(AudioFileWriterTest, TellsWhyAFileCannotBeCreated) {
    const auto nowhere =
        AudioFileWriter::create(temporary.path() / "no" / "out.wav", Encoding::float32);
    ASSERT_FALSE(nowhere);
    EXPECT_EQ(nowhere.error().description(), "No such file or directory");
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    const auto pipe = AudioFileWriter::create(file, Encoding::float32);
    ASSERT_FALSE(pipe);
    EXPECT_EQ(pipe.error().description(), "not a regular file");
    EXPECT_FALSE(AudioFileWriter::create("/dev/full", Encoding::float32));
}

TEST_F(AudioFileWriterTest, RefusesFormatsThatCannotBeStored) {
    EXPECT_FALSE(AudioFileWriter::create(file, Encoding::float32, {44100, 0}));
    EXPECT_FALSE(AudioFileWriter::create(file, Encoding::float32, {44100, 100000}));
    EXPECT_FALSE(AudioFileWriter::create(file, Encoding::float32, {0, 2}));
    EXPECT_FALSE(AudioFileWriter::create(file, Encoding::float32, {44100.5, 2}));
    EXPECT_FALSE(AudioFileWriter::create(file, Encoding::float32, {1e300, 2}));
    EXPECT_FALSE(std::filesystem::exists(file));
}

} // namespace
} // namespace morvel
