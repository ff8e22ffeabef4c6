#include "fidget/FidgetSound.h"
#include "tests/fidget/FidgetFixture.h"

namespace morvel {
namespace {

class FidgetSoundTest : public test::FidgetTest {
protected:
    FidgetSound sound{settings, audio};
};

TEST_F(FidgetSoundTest, PlaysAtTheModulesVolumeWithPitchJitter) {
    settings.setFidgetVolume(0.4F);
    theme->jitterCents = 100;
    sound.play(SoundCategory::pop);
    EXPECT_EQ(played(), test::Categories{SoundCategory::pop});
    EXPECT_FLOAT_EQ(firstVoice().volume, 0.4F);
    EXPECT_NE(firstVoice().rate, 1);
}

TEST_F(FidgetSoundTest, ReachesTheEngineOnlyWhileTheModuleIsOn) {
    settings.setFidgetEnabled(false);
    sound.play(SoundCategory::pop);
    sound.startLoop(SoundCategory::dialLoop, 1, 1);
    EXPECT_TRUE(theme->asked.empty());
    EXPECT_FALSE(audio.loopCategory());
    settings.setFidgetEnabled(true);
    sound.play(SoundCategory::pop);
    EXPECT_EQ(played().size(), 1U);
}

TEST_F(FidgetSoundTest, TheLoopsGainIsScaledByTheModulesVolumeAndItsRateIsNot) {
    settings.setFidgetVolume(0.4F);
    sound.startLoop(SoundCategory::dialLoop, 0.5F, 1.25F);
    EXPECT_EQ(audio.loopCategory(), SoundCategory::dialLoop);
    EXPECT_FLOAT_EQ(audio.loopGain(), 0.2F);
    EXPECT_EQ(audio.loopRate(), 1.25F);
}

TEST_F(FidgetSoundTest, TheKeyboardsSettingsAndTheMasterVolumeAreNotItsBusiness) {
    settings.setKeyboardEnabled(false);
    settings.setKeyboardVolume(0.1F);
    settings.setMasterVolume(0.5F);
    sound.play(SoundCategory::pop);
    EXPECT_EQ(firstVoice().volume, 1);
}

} // namespace
} // namespace morvel
