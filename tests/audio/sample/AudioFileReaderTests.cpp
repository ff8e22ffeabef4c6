#include "audio/sample/AudioFileReader.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WavFiles.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <limits>

namespace morvel {
namespace {

class AudioFileReaderTest : public testing::Test {
protected:
    // What opening says; empty when it succeeds.
    static std::string refusal(const std::filesystem::path& file) {
        const auto reader = AudioFileReader::open(file);
        EXPECT_EQ(static_cast<bool>(reader), AudioFileReader::canOpen(file));
        return reader ? "" : reader.error().description();
    }
    static Result<DecodedAudio, AudioFileError> read(const std::filesystem::path& file,
                                                     const ReadLimits& limits = {}) {
        auto reader = AudioFileReader::open(file);
        if (!reader)
            return reader.error();
        return reader->readAll(limits);
    }

    TemporaryFolder temporary;
    std::filesystem::path file = temporary.path() / "sound.wav";
};

TEST_F(AudioFileReaderTest, ReadsAStereoFloatFileSampleForSample) {
    writeWav(file, canonicalFormat, {0.1F, -0.2F, 1.5F, 0.0F, -1.0F, 1e-20F});
    auto reader = AudioFileReader::open(file);
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->processingFormat(), canonicalFormat);
    EXPECT_EQ(reader->length(), 3u);
    const auto audio = reader->readAll(ReadLimits{});
    ASSERT_TRUE(audio);
    EXPECT_EQ(audio->format, canonicalFormat);
    EXPECT_EQ(audio->channels[0], (std::vector<float>{0.1F, 1.5F, -1.0F}));
    EXPECT_EQ(audio->channels[1], (std::vector<float>{-0.2F, 0.0F, 1e-20F}));
    EXPECT_EQ(reader->samplesDecoded(), 6u);
}

TEST_F(AudioFileReaderTest, ReadsWholeNumbersAsFractionsOfFullScale) {
    const std::string frame{"\x00\x40\x00\x80", 4}; // 16384, -32768
    temporary.file("sound.wav", WavHeader{.dataBytes = 4}.with(frame));
    const auto audio = read(file);
    ASSERT_TRUE(audio);
    EXPECT_EQ(audio->channels[0], std::vector<float>{0.5F});
    EXPECT_EQ(audio->channels[1], std::vector<float>{-1.0F});
}

TEST_F(AudioFileReaderTest, ReadsAFileOfManyBlocks) {
    const AudioFormat format{48000, 3};
    const auto samples = sine(format, 50000);
    writeWav(file, format, samples);
    const auto audio = read(file);
    ASSERT_TRUE(audio);
    ASSERT_EQ(audio->channels.size(), 3u);
    ASSERT_EQ(audio->frameLength(), 50000u);
    for (std::size_t i = 0; i < 50000; ++i)
        ASSERT_EQ(audio->channels[2][i], samples[3 * i + 2]) << i;
}

TEST_F(AudioFileReaderTest, TellsFormatsByContentWhateverTheFileIsCalled) {
    for (const int format :
         {SF_FORMAT_AIFF | SF_FORMAT_PCM_16, SF_FORMAT_CAF | SF_FORMAT_PCM_24,
          SF_FORMAT_FLAC | SF_FORMAT_PCM_16, SF_FORMAT_OGG | SF_FORMAT_VORBIS,
          SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III, SF_FORMAT_WAVEX | SF_FORMAT_PCM_16}) {
        SF_INFO info = {.frames = 0,
                        .samplerate = 44100,
                        .channels = 2,
                        .format = format,
                        .sections = 0,
                        .seekable = 0};
        SNDFILE* const written = sf_open(file.c_str(), SFM_WRITE, &info);
        ASSERT_NE(written, nullptr) << std::hex << format;
        const auto samples = sine(canonicalFormat, 4410);
        sf_writef_float(written, samples.data(), 4410);
        sf_close(written);
        const auto audio = read(file);
        ASSERT_TRUE(audio) << std::hex << format << audio.error().description();
        EXPECT_EQ(audio->format, canonicalFormat) << std::hex << format;
        EXPECT_GE(audio->frameLength(), 4410u) << std::hex << format;
    }
}

TEST_F(AudioFileReaderTest, RefusesFormatsOutsideTheAcceptedOnes) {
    for (const int format : {SF_FORMAT_AU | SF_FORMAT_PCM_16, SF_FORMAT_VOC | SF_FORMAT_PCM_16,
                             SF_FORMAT_W64 | SF_FORMAT_PCM_16, SF_FORMAT_RAW | SF_FORMAT_PCM_16,
                             SF_FORMAT_SVX | SF_FORMAT_PCM_16}) {
        SF_INFO info = {.frames = 0,
                        .samplerate = 44100,
                        .channels = 1,
                        .format = format,
                        .sections = 0,
                        .seekable = 0};
        SNDFILE* const written = sf_open(file.c_str(), SFM_WRITE, &info);
        ASSERT_NE(written, nullptr) << std::hex << format;
        const auto samples = sine({44100, 1}, 100);
        sf_writef_float(written, samples.data(), 100);
        sf_close(written);
        EXPECT_EQ(refusal(file), "not an audio file of a known format") << std::hex << format;
    }
}

TEST_F(AudioFileReaderTest, RefusesWhatIsNoFile) {
    EXPECT_EQ(refusal(temporary.path() / "missing.wav"), "No such file or directory");
    EXPECT_EQ(refusal(temporary.path()), "Is a directory");
    EXPECT_NE(refusal(std::filesystem::path(std::string("sound.wav\0x", 11))), "");
}

TEST_F(AudioFileReaderTest, NeverTakesANameOnlyUpToAZeroByte) {
    writeClick(file);
    EXPECT_NE(refusal(std::filesystem::path(file.native() + std::string("\0x", 2))), "");
}

TEST_F(AudioFileReaderTest, RefusesDevicesPipesAndRingsOfLinksWithoutWaiting) {
    ASSERT_EQ(mkfifo(file.c_str(), 0600), 0);
    EXPECT_EQ(refusal(file), "not a regular file");
    for (const char* const device : {"/dev/zero", "/dev/urandom", "/dev/tty", "/dev/stdin"}) {
        const auto link = temporary.path() / "link.wav";
        std::filesystem::remove(link);
        std::filesystem::create_symlink(device, link);
        EXPECT_NE(refusal(link), "") << device;
    }
    std::filesystem::create_symlink("ring.wav", temporary.path() / "ring.wav");
    EXPECT_NE(refusal(temporary.path() / "ring.wav"), "");
}

TEST_F(AudioFileReaderTest, FollowsALinkToASound) {
    writeClick(file);
    std::filesystem::create_symlink("sound.wav", temporary.path() / "link.wav");
    EXPECT_EQ(refusal(temporary.path() / "link.wav"), "");
}

TEST_F(AudioFileReaderTest, RefusesWhatIsNoSound) {
    EXPECT_EQ(refusal(temporary.file("empty.wav", "")), "no data");
    EXPECT_EQ(refusal(temporary.file("text.wav", "this is a text, not a sound")),
              "not an audio file of a known format");
    EXPECT_NE(refusal(temporary.file("head.wav", "RIFF")), "");
    EXPECT_NE(refusal(temporary.file("cut.wav", WavHeader{}.with("").substr(0, 30))), "");
    EXPECT_NE(refusal(temporary.file("mute.wav", WavHeader{.channels = 0}.with("abcd"))), "");
    EXPECT_NE(refusal(temporary.file("still.wav", WavHeader{.sampleRate = 0}.with("abcd"))), "");
    std::string hugeTag{"ID3\x04\x00\x00\x7f\x7f\x7f\x7f", 10};
    EXPECT_NE(refusal(temporary.file("tag.mp3", hugeTag)), "");
}

// The library closes what it cannot open, though told not to.
TEST_F(AudioFileReaderTest, ARefusedFileIsClosedOnce) {
    writeText(file, "RIFF....WAVEfmt ");
    FileDescriptor opened = openRegularFile(file).value();
    const int number = opened.number();
    const int another = ::dup(number);
    ASSERT_GE(another, 0);
    ASSERT_FALSE(AudioFileReader::open(std::move(opened)));
    EXPECT_EQ(::fcntl(number, F_GETFD), -1);
    // Whoever gets the number next keeps it.
    EXPECT_EQ(::dup2(another, number), number);
    for (int i = 0; i < 10; ++i)
        EXPECT_FALSE(AudioFileReader::open(file));
    EXPECT_NE(::fcntl(number, F_GETFD), -1);
    ::close(number);
    ::close(another);
}

TEST_F(AudioFileReaderTest, RefusesAFileTooLargeToBeAKeySound) {
    temporary.file("sound.wav", WavHeader{.dataBytes = 4}.with("abcd"));
    std::filesystem::resize_file(file, AudioFileReader::largestFile + 1); // takes no space on disk
    EXPECT_EQ(refusal(file), "larger than 128 MiB");
}

TEST_F(AudioFileReaderTest, OpensAFileWithoutFramesAsEmpty) {
    writeWav(file, canonicalFormat, {});
    auto reader = AudioFileReader::open(file);
    ASSERT_TRUE(reader);
    EXPECT_EQ(reader->length(), 0u);
    const auto audio = reader->readAll(ReadLimits{});
    ASSERT_TRUE(audio);
    EXPECT_EQ(audio->frameLength(), 0u);
}

TEST_F(AudioFileReaderTest, ReadsWhatIsThereOfACutOffFile) {
    temporary.file("sound.wav", WavHeader{.dataBytes = 4000}.with(std::string(40, '\x10')));
    const auto audio = read(file);
    ASSERT_TRUE(audio);
    EXPECT_EQ(audio->frameLength(), 10u);
}

TEST_F(AudioFileReaderTest, DoesNotBelieveAHeaderThatClaimsGigabytes) {
    temporary.file("sound.wav", WavHeader{.dataBytes = 0xffffff00}.with(std::string(40, '\x10')));
    const auto audio = read(file);
    ASSERT_TRUE(audio);
    EXPECT_EQ(audio->frameLength(), 10u);
    EXPECT_LE(audio->channels[0].capacity(), 1000u);
}

TEST_F(AudioFileReaderTest, RefusesMoreThanTheLimitOfTime) {
    writeWav(file, {1000, 1}, std::vector<float>(2001, 0.5F));
    const auto tooLong = read(file, {.seconds = 2});
    ASSERT_FALSE(tooLong);
    EXPECT_EQ(tooLong.error().description(), "longer than 2 seconds");
    writeWav(file, {1000, 1}, std::vector<float>(2000, 0.5F));
    EXPECT_TRUE(read(file, {.seconds = 2}));
}

TEST_F(AudioFileReaderTest, RefusesMoreThanTheLimitOfSamplesAndTellsWhatItCost) {
    const std::size_t megabyte = std::size_t{1} << 18;
    writeWav(file, {96000, 8}, std::vector<float>(megabyte + 8 * 4096, 0.5F));
    auto reader = AudioFileReader::open(file);
    ASSERT_TRUE(reader);
    const auto audio = reader->readAll({.samples = megabyte});
    ASSERT_FALSE(audio);
    EXPECT_EQ(audio.error().description(), "more than 1 MiB of audio");
    EXPECT_GT(reader->samplesDecoded(), megabyte);
    EXPECT_LE(reader->samplesDecoded(), megabyte + 8 * 4096);
}

TEST_F(AudioFileReaderTest, SilencesWhatIsNoNumberAndLimitsWhatIsAbsurdlyLoud) {
    const float infinity = std::numeric_limits<float>::infinity();
    writeWav(file, {44100, 1},
             {std::numeric_limits<float>::quiet_NaN(), infinity, -infinity, 3.4e38F, -1e10F, 15.0F,
              0.5F});
    const auto audio = read(file);
    ASSERT_TRUE(audio);
    EXPECT_EQ(audio->channels[0],
              (std::vector<float>{0, 0, 0, loudestSample, -loudestSample, 15.0F, 0.5F}));
}

} // namespace
} // namespace morvel
