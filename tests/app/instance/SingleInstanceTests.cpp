#include "app/instance/SingleInstance.h"
#include "platform/simulated/SimulatedInstanceChannel.h"
#include "platform/simulated/SimulatedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace morvel {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Outcome = InstanceChannel::Outcome;
using Reception = InstanceChannel::Reception;
using Requests = std::vector<InstanceRequest>;

struct Start {
    explicit Start(Outcome outcome, std::optional<InstanceRequest> request = std::nullopt)
        : channel(outcome)
        , exit(instance.start({request})) {}

    void serve() {
        instance.serve([this](InstanceRequest request) { requests.push_back(request); });
    }

    SimulatedLog log;
    SimulatedInstanceChannel channel;
    SingleInstance instance{channel, log};
    std::optional<ProgramExit> exit;
    Requests requests;
};

TEST(SingleInstanceTest, TheFirstStartRunsAndAsksNothingOfItself) {
    Start start(Outcome::alone);
    EXPECT_FALSE(start.exit);
    EXPECT_TRUE(start.channel.wantsToBecome());
    start.serve();
    EXPECT_THAT(start.requests, IsEmpty());
}

TEST(SingleInstanceTest, TheFirstStartDoesWhatItWasAskedForOnceItCan) {
    for (const auto request : {InstanceRequest::openDrawer, InstanceRequest::openSettings}) {
        Start start(Outcome::alone, request);
        EXPECT_FALSE(start.exit);
        EXPECT_THAT(start.requests, IsEmpty());
        start.serve();
        EXPECT_THAT(start.requests, ElementsAre(request));
    }
}

TEST(SingleInstanceTest, ASecondStartOpensTheFirstsDrawerAndSucceeds) {
    Start start(Outcome::delivered);
    ASSERT_TRUE(start.exit);
    EXPECT_EQ(start.exit->status, 0);
    EXPECT_EQ(start.exit->text, "");
    EXPECT_THAT(start.channel.sent(),
                ElementsAre(static_cast<std::uint8_t>(InstanceRequest::openDrawer)));
}

TEST(SingleInstanceTest, ASecondStartHandsOverItsRequest) {
    for (const auto request : {InstanceRequest::openDrawer, InstanceRequest::openSettings,
                               InstanceRequest::toggleMute, InstanceRequest::quit}) {
        Start start(Outcome::delivered, request);
        ASSERT_TRUE(start.exit);
        EXPECT_EQ(start.exit->status, 0);
        EXPECT_THAT(start.channel.sent(), ElementsAre(static_cast<std::uint8_t>(request)));
    }
}

TEST(SingleInstanceTest, QuittingWhatDoesNotRunSucceedsAndMutingItFails) {
    Start quit(Outcome::alone, InstanceRequest::quit);
    ASSERT_TRUE(quit.exit);
    EXPECT_EQ(quit.exit->status, 0);
    EXPECT_EQ(quit.exit->text, "Morvel is not running.\n");
    EXPECT_FALSE(quit.channel.wantsToBecome());
    Start mute(Outcome::alone, InstanceRequest::toggleMute);
    ASSERT_TRUE(mute.exit);
    EXPECT_EQ(mute.exit->status, 1);
    EXPECT_EQ(mute.exit->text, "Morvel is not running.\n");
    EXPECT_FALSE(mute.channel.wantsToBecome());
}

TEST(SingleInstanceTest, AnInstanceThatDoesNotAnswerIsAFailure) {
    Start start(Outcome::unanswered);
    ASSERT_TRUE(start.exit);
    EXPECT_EQ(start.exit->status, 1);
    EXPECT_EQ(start.exit->text, "Morvel is running but does not answer.\n");
}

TEST(SingleInstanceTest, WithoutAChannelItRunsAllTheSameAndLogsIt) {
    Start start(Outcome::unavailable, InstanceRequest::openSettings);
    EXPECT_FALSE(start.exit);
    EXPECT_THAT(start.log.lines(), ElementsAre(HasSubstr("simulated")));
    start.serve();
    EXPECT_THAT(start.requests, ElementsAre(InstanceRequest::openSettings));
    Start quit(Outcome::unavailable, InstanceRequest::quit);
    ASSERT_TRUE(quit.exit);
    EXPECT_EQ(quit.exit->status, 1);
    EXPECT_EQ(quit.exit->text, "Morvel cannot be reached: simulated.\n");
}

TEST(SingleInstanceTest, RequestsArriveAndOnlyQuittingEndsIt) {
    Start start(Outcome::alone);
    start.serve();
    EXPECT_EQ(start.channel.arrive('d'), Reception::accepted);
    EXPECT_EQ(start.channel.arrive('s'), Reception::accepted);
    EXPECT_EQ(start.channel.arrive('m'), Reception::accepted);
    EXPECT_EQ(start.channel.arrive('q'), Reception::ending);
    EXPECT_THAT(start.requests,
                ElementsAre(InstanceRequest::openDrawer, InstanceRequest::openSettings,
                            InstanceRequest::toggleMute, InstanceRequest::quit));
}

TEST(SingleInstanceTest, EveryOtherByteIsRefusedAndUnheard) {
    Start start(Outcome::alone);
    start.serve();
    for (int byte = 0; byte < 256; ++byte) {
        if (byte == 'd' || byte == 's' || byte == 'm' || byte == 'q')
            continue;
        EXPECT_EQ(start.channel.arrive(static_cast<std::uint8_t>(byte)), Reception::refused);
    }
    EXPECT_THAT(start.requests, IsEmpty());
}

} // namespace
} // namespace morvel
