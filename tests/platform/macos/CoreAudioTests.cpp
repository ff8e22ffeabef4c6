// Core Audio's stream, with the functions of the library as a test wants them.

#include "platform/macos/CoreAudioServer.h"

#include <cubeb/cubeb.h>
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

namespace {

struct Library {
    std::vector<std::string> calls;
    std::string offered = "audiounit";
    int connection = CUBEB_OK;
    int stream = CUBEB_OK;
    int start = CUBEB_OK;
    cubeb_stream_params format{};
    std::uint32_t latency = 0;
    cubeb_data_callback render = nullptr;
    cubeb_state_callback changed = nullptr;
    void* user = nullptr;
};

Library library; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

} // namespace

extern "C" {

int cubeb_init(cubeb** context, const char* name, const char* backend) {
    library.calls.push_back(std::string("connect ") + name + " to " + backend);
    *context = reinterpret_cast<cubeb*>(&library);
    return library.connection;
}
void cubeb_destroy(cubeb*) {
    library.calls.emplace_back("disconnect");
}
const char* cubeb_get_backend_id(cubeb*) {
    return library.offered.c_str();
}
int cubeb_stream_init(cubeb*, cubeb_stream** stream, const char*, cubeb_devid, cubeb_stream_params*,
                      cubeb_devid outputDevice, cubeb_stream_params* format, unsigned int latency,
                      cubeb_data_callback render, cubeb_state_callback changed, void* user) {
    EXPECT_EQ(outputDevice, nullptr);
    *stream = reinterpret_cast<cubeb_stream*>(&library);
    library.format = *format;
    library.latency = latency;
    library.render = render;
    library.changed = changed;
    library.user = user;
    return library.stream;
}
int cubeb_stream_start(cubeb_stream*) {
    library.calls.emplace_back("start");
    return library.start;
}
int cubeb_stream_stop(cubeb_stream*) {
    library.calls.emplace_back("stop");
    return CUBEB_OK;
}
void cubeb_stream_destroy(cubeb_stream*) {
    library.calls.emplace_back("destroy");
}

} // extern "C"

namespace morvel {
namespace {

using Calls = std::vector<std::string>;
using Flow = ServerStream::Flow;

class CoreAudioTest : public testing::Test, public ServerStream::Listener {
protected:
    CoreAudioTest() { library = {}; }

    void render(float* interleaved, std::uint32_t frames) override {
        std::fill_n(interleaved, 2 * std::size_t{frames}, 0.5F);
    }
    void wake() override { ++wakes_; }

    std::unique_ptr<ServerStream> stream_ = coreAudioServer.makeStream(*this);
    int wakes_ = 0;
};

TEST_F(CoreAudioTest, PlaysStereoFloatsAt44100HertzOnTheDefaultDevice) {
    EXPECT_EQ(stream_->open({}), std::nullopt);
    EXPECT_EQ(library.calls, (Calls{"connect Morvel to audiounit", "start"}));
    EXPECT_EQ(library.format.rate, 44100U);
    EXPECT_EQ(library.format.channels, 2U);
    EXPECT_EQ(library.format.format, CUBEB_SAMPLE_FLOAT32NE);
    EXPECT_EQ(library.latency, 128U);
    EXPECT_EQ(stream_->flow(), Flow::streaming);
    std::array<float, 4> block{};
    EXPECT_EQ(library.render(nullptr, library.user, nullptr, block.data(), 2), 2);
    EXPECT_EQ(block, (std::array<float, 4>{0.5F, 0.5F, 0.5F, 0.5F}));
    EXPECT_EQ(stream_->latencyFrames(2), 2U);
    stream_->hastenAudioThread(); // which the library does itself
}

TEST_F(CoreAudioTest, RestsAndIsOpenedAgainOnTheSameConnection) {
    ASSERT_EQ(stream_->open({}), std::nullopt);
    stream_->rest();
    EXPECT_EQ(stream_->flow(), Flow::closed);
    ASSERT_EQ(stream_->open({}), std::nullopt);
    stream_.reset();
    EXPECT_EQ(library.calls, (Calls{"connect Morvel to audiounit", "start", "stop", "destroy",
                                    "start", "stop", "destroy", "disconnect"}));
}

TEST_F(CoreAudioTest, AStreamThatFailsTellsSo) {
    ASSERT_EQ(stream_->open({}), std::nullopt);
    library.changed(nullptr, library.user, CUBEB_STATE_ERROR);
    EXPECT_EQ(stream_->flow(), Flow::failed);
    EXPECT_EQ(wakes_, 1);
}

TEST_F(CoreAudioTest, ARefusedConnectionIsNoServer) {
    library.connection = CUBEB_ERROR;
    EXPECT_EQ(stream_->open({}), "no sound server");
    EXPECT_EQ(stream_->flow(), Flow::closed);
}

TEST_F(CoreAudioTest, AnotherBackendIsGivenBack) {
    library.offered = "other";
    EXPECT_EQ(stream_->open({}), "no sound server");
    EXPECT_EQ(library.calls.back(), "disconnect");
}

TEST_F(CoreAudioTest, ARefusedStreamTellsWhyAndLeavesNothingOpen) {
    library.stream = CUBEB_ERROR_DEVICE_UNAVAILABLE;
    EXPECT_EQ(stream_->open({}), "the device is not available");
    library.stream = CUBEB_OK;
    library.start = CUBEB_ERROR;
    EXPECT_EQ(stream_->open({}), "the sound server refused");
    EXPECT_EQ(stream_->flow(), Flow::closed);
}

TEST_F(CoreAudioTest, TheServerIsPartOfTheSystemAndNeverMissing) {
    EXPECT_EQ(coreAudioServer.name, "Core Audio");
    EXPECT_EQ(coreAudioServer.watch, nullptr);
    EXPECT_EQ(coreAudioServer.socket([](const std::string&) { return std::nullopt; }), "");
}

} // namespace
} // namespace morvel
