// Plays from two threads while a third renders. Meant to run under ThreadSanitizer as well.
#include "audio/AudioEngine.h"
#include "audio/sample/AudioFileReader.h"
#include "tests/audio/EngineFixture.h"
#include "tests/audio/Signals.h"
#include "tests/support/TemporaryFolder.h"

#include <set>
#include <thread>

namespace morvel {
namespace {

using Threading = test::EngineTest;

TEST_F(Threading, PlaysFromTwoThreadsDuringRenderingAllSoundAndStayWithinFullScale) {
    theme->set(SoundCategory::keyDown, test::constant(0.9F, 300), 1, 100);
    theme->set(SoundCategory::buttonDown, test::noise(500, 0.9F), 1, 100);
    theme->set(SoundCategory::dialLoop, test::noise(500, 0.5F));
    build();
    std::atomic<int> playersLeft = 2;
    float loudest = 0;
    std::uint64_t blocks = 0;
    std::thread audio([&] {
        std::vector<float> block;
        while (playersLeft > 0 || blocks < 100) {
            block = output.render(64);
            loudest = std::max(loudest, test::peak(block));
            ++blocks;
        }
    });
    constexpr int plays = 3000;
    const auto player = [&](SoundCategory category) {
        for (int i = 0; i < plays; ++i) {
            engine->play(category, 1, true);
            if (i % 16 == 0)
                std::this_thread::yield();
        }
        --playersLeft;
    };
    std::thread first(player, SoundCategory::keyDown);
    std::thread second(player, SoundCategory::buttonDown);
    for (int i = 0; playersLeft > 0; ++i) {
        engine->setMasterVolume(0.5F + 0.1F * static_cast<float>(i % 6));
        engine->startLoop(SoundCategory::dialLoop, 0.5F, 1.1F);
        engine->updateLoop(0.1F * static_cast<float>(i % 10), 0.9F);
        time.advance(0.002);
        if (i % 50 == 0)
            engine->quiesceForThemeSwap();
        std::this_thread::yield();
    }
    first.join();
    second.join();
    audio.join();
    EXPECT_EQ(theme->asked.load() >= 2 * plays, true);
    EXPECT_GT(loudest, 0.1F);
    EXPECT_LE(loudest, 1.0F);
    engine->quiesceForThemeSwap();
    output.render(500);
    EXPECT_EQ(test::peak(output.render(500)), 0);
    engine->play(SoundCategory::keyDown, 1, false);
    EXPECT_GT(test::peak(output.render(500)), 0.1F) << "the queue still works";
    engine->quiesceForThemeSwap();
    output.render(500);
    engine->quiesceForThemeSwap();
    EXPECT_EQ(engine->heldBufferCount(), 0U);
}

TEST_F(Threading, RecordingsThatAreStoppedDuringRenderingAreCompleteAndHoldWholeBlocks) {
    constexpr std::size_t blockFrames = 64;
    constexpr int roomBlocks = 600; // twice as many have room, should the recorder's thread wait
    const TemporaryFolder folder;
    theme->set(SoundCategory::dialLoop, test::constant(0.25F, 100));
    build();
    engine->startLoop(SoundCategory::dialLoop, 1, 1);
    output.render(1000);
    std::atomic<bool> done = false;
    std::atomic<int> blocks = 0;
    std::atomic<int> lastBlock = roomBlocks;
    std::thread audio([&] {
        while (!done) {
            if (blocks < lastBlock) {
                output.render(blockFrames, blockFrames);
                ++blocks;
            }
            std::this_thread::yield();
        }
    });
    for (int i = 0; i < 20; ++i) {
        const auto file = folder / (std::to_string(i) + ".wav");
        ASSERT_FALSE(engine->startRecording(file));
        const int before = blocks;
        lastBlock = before + roomBlocks;
        while (blocks < before + 5)
            std::this_thread::yield();
        engine->stopRecording();
        auto reader = AudioFileReader::open(file);
        ASSERT_TRUE(reader) << reader.error().description();
        const auto read = reader->readAll({});
        ASSERT_TRUE(read);
        EXPECT_GE(read->frameLength(), 4 * blockFrames);
        EXPECT_EQ(read->frameLength() % blockFrames, 0U);
        EXPECT_EQ(std::ranges::min(read->channels[0]), 0.25F);
    }
    done = true;
    audio.join();
}

TEST_F(Threading, LoopsThatReplaceEachOtherDuringRenderingLeaveNoBufferBehindAndTheLastOneSounds) {
    build();
    std::atomic<bool> done = false;
    std::thread audio([&] {
        while (!done)
            output.render(16, 16);
    });
    for (int i = 0; i < 5000; ++i) {
        const bool odd = i % 2 == 1;
        const SoundCategory category = odd ? SoundCategory::dialLoop : SoundCategory::pop;
        theme->set(category, test::constant(odd ? 0.25F : 0.125F, 50));
        engine->startLoop(category, 1, 1);
        if (i % 5 == 0)
            engine->stopLoop(0);
        if (i % 100 == 0)
            engine->quiesceForThemeSwap();
    }
    done = true;
    audio.join();
    output.render(500);
    EXPECT_EQ(test::peak(output.render(500)), 0.25F);
    EXPECT_EQ(engine->droppedSoundCount(), 0U);
    engine->stopLoop(0);
    output.render(500);
    engine->quiesceForThemeSwap();
    EXPECT_EQ(engine->heldBufferCount(), 0U);
}

TEST_F(Threading, TwoThreadsNeverGetTheSameFreeVoice) {
    build();
    for (int round = 0; round < 200; ++round) {
        std::array<std::vector<VoicePool::Handout>, 2> got;
        const auto take = [&](std::size_t who) {
            for (int i = 0; i < 4; ++i)
                got[who].push_back(engine->acquireVoice(1));
        };
        std::thread other(take, 1);
        take(0);
        other.join();
        std::set<std::size_t> voices;
        for (const auto& handouts : got)
            for (const auto& handout : handouts) {
                EXPECT_FALSE(handout.stolen);
                voices.insert(handout.voice);
            }
        ASSERT_EQ(voices.size(), 8U);
        time.advance(2);
    }
}

TEST_F(Threading, ARecordingCanBeStartedWhileRenderingGoesOn) {
    theme->set(SoundCategory::keyDown, test::constant(0.5F, 3000));
    build();
    std::atomic<bool> stop = false;
    std::thread audio([&] {
        while (!stop)
            output.render(64);
    });
    const std::filesystem::path file = testing::TempDir() + "/morvel-threaded.wav";
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(engine->startRecording(file), std::nullopt);
        engine->play(SoundCategory::keyDown, 1, false);
    }
    engine.reset();
    stop = true;
    audio.join();
    EXPECT_TRUE(std::filesystem::exists(file));
    std::filesystem::remove(file);
}

} // namespace
} // namespace morvel
