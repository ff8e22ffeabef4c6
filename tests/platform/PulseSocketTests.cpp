// Where the environment says that PulseAudio listens.

#include "platform/linux/PulseAudioServer.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace morvel {
namespace {

using Variables = std::map<std::string, std::string>;

std::filesystem::path socketOf(const Variables& variables) {
    return pulseAudioServer.socket(
        [&variables](const std::string& name) -> std::optional<std::string> {
            const auto found = variables.find(name);
            return found == variables.end() ? std::nullopt : std::optional(found->second);
        });
}
std::filesystem::path socketOfServer(const std::string& servers) {
    return socketOf({{"PULSE_SERVER", servers}, {"XDG_RUNTIME_DIR", "/run/user/1"}});
}

TEST(PulseSocket, IsInTheFolderOfTheSessionUnlessAnotherIsNamed) {
    EXPECT_EQ(socketOf({}), "");
    EXPECT_EQ(socketOf({{"XDG_RUNTIME_DIR", "/run/user/1"}}), "/run/user/1/pulse/native");
    EXPECT_EQ(socketOf({{"XDG_RUNTIME_DIR", "/run/user/1"}, {"PULSE_RUNTIME_PATH", "/run/p"}}),
              "/run/p/native");
}

TEST(PulseSocket, IsThatOfTheServerThatIsAskedForWithItsSchemeOrWithout) {
    EXPECT_EQ(socketOfServer("/run/p/native"), "/run/p/native");
    EXPECT_EQ(socketOfServer("unix:/run/p/native"), "/run/p/native");
}

TEST(PulseSocket, IsThatOfTheFirstOfSeveralServers) {
    EXPECT_EQ(socketOfServer(" unix:/first\tunix:/second tcp:host"), "/first");
}

TEST(PulseSocket, IsFoundBehindTheMachineThatItIsMeantFor) {
    EXPECT_EQ(socketOfServer("{0123abcd}unix:/run/p/native"), "/run/p/native");
    EXPECT_EQ(socketOfServer("{0123abcd}/run/p/native"), "/run/p/native");
}

TEST(PulseSocket, IsNoneWhereTheServerIsOnAnotherMachineOrTheNameNoPath) {
    for (const char* const servers : {"", " ", "tcp:host:4713", "host", "unix:", "unix:native", "{",
                                      "{0123abcd", "{0123abcd}", "{0123abcd}host"})
        EXPECT_EQ(socketOfServer(servers), "") << servers;
}

} // namespace
} // namespace morvel
