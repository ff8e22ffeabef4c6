#include "platform/macos/MessagePortInstanceChannel.h"
#include "tests/platform/macos/FakeMac.h"

namespace morvel {
namespace {

using Calls = std::vector<std::string>;
using Outcome = InstanceChannel::Outcome;
using Reception = InstanceChannel::Reception;

class MessagePortInstanceChannelTest : public MacTest {
protected:
    std::optional<MessagePortInstanceChannel> channel_{
        std::in_place,
        MessagePortInstanceChannel::Setup{"app.morvel", std::chrono::milliseconds(20)}};
};

TEST_F(MessagePortInstanceChannelTest, TheFirstBecomesTheInstanceUntilItsEnd) {
    EXPECT_EQ(channel_->become('d'), Outcome::alone);
    channel_->receive([](std::uint8_t) { return Reception::accepted; });
    channel_.reset();
    EXPECT_EQ(mac_.calls, (Calls{"port app.morvel", "source added to common modes",
                                 "source removed from common modes", "port invalidated"}));
    EXPECT_TRUE(mac_.sent.empty());
}

TEST_F(MessagePortInstanceChannelTest, TheSecondHandsItsMessageToTheFirst) {
    mac_.instance = true;
    mac_.reply = "k";
    EXPECT_EQ(channel_->become('d'), Outcome::delivered);
    EXPECT_EQ(channel_->send('m'), Outcome::delivered);
    EXPECT_EQ(mac_.sent, (std::vector<std::int32_t>{'d', 'm'}));
    channel_.reset();
}

TEST_F(MessagePortInstanceChannelTest, SendingWithoutAnInstanceIsBeingAlone) {
    EXPECT_EQ(channel_->send('q'), Outcome::alone);
    EXPECT_EQ(mac_.calls, Calls{});
    channel_.reset();
}

TEST_F(MessagePortInstanceChannelTest, AnInstanceThatDoesNotAnswerInTimeIsUnanswered) {
    mac_.instance = true;
    for (const std::int32_t timeout : {-1, -2}) {
        mac_.sendStatus = timeout;
        EXPECT_EQ(channel_->send('m'), Outcome::unanswered);
        EXPECT_EQ(channel_->become('m'), Outcome::unanswered);
    }
    channel_.reset();
}

TEST_F(MessagePortInstanceChannelTest, AnInstanceThatEndsIsWaitedFor) {
    mac_.instance = true;
    mac_.reply = "e";
    mac_.instanceEnds = true;
    EXPECT_EQ(channel_->send('q'), Outcome::delivered);
    mac_.instance = true;
    mac_.instanceEnds = false;
    EXPECT_EQ(channel_->send('q'), Outcome::unanswered);
    channel_.reset();
}

TEST_F(MessagePortInstanceChannelTest, SendingAndBeingAnsweredEndWithinThePatience) {
    mac_.instance = true;
    mac_.reply = "k";
    EXPECT_EQ(channel_->send('m'), Outcome::delivered);
    EXPECT_GT(mac_.sendLimit, 0);
    EXPECT_LE(mac_.sendLimit, 0.02);
    channel_.reset();
}

TEST_F(MessagePortInstanceChannelTest, AnInstanceThatGoesMeanwhileIsFollowed) {
    mac_.instance = true;
    mac_.instanceEnds = true; // with no answer
    EXPECT_EQ(channel_->become('d'), Outcome::alone);
    channel_.reset();
}

TEST_F(MessagePortInstanceChannelTest, ASystemThatGivesOutNoPortLeavesNoChannel) {
    mac_.refusesPorts = true;
    EXPECT_EQ(channel_->become('d'), Outcome::unavailable);
    EXPECT_EQ(channel_->failure(), "the system gives out no port of the name app.morvel");
    channel_.reset();
}

TEST_F(MessagePortInstanceChannelTest, AnswersWhatTheReceiverMakesOfAMessage) {
    ASSERT_EQ(channel_->become('d'), Outcome::alone);
    channel_->receive([](std::uint8_t message) {
        return message == 'm'   ? Reception::accepted
               : message == 'q' ? Reception::ending
                                : Reception::refused;
    });
    EXPECT_EQ(mac_.receive('m'), "k");
    EXPECT_EQ(mac_.receive('x'), "");
    EXPECT_EQ(mac_.receive(0x1234), "");
    EXPECT_EQ(mac_.receive(-1), "");
    mac_.calls.clear();
    EXPECT_EQ(mac_.receive('q'), "e");
    EXPECT_EQ(mac_.calls, Calls{"source removed from common modes"});
    channel_.reset();
}

} // namespace
} // namespace morvel
