#include "platform/simulated/SimulatedLog.h"

#include <gtest/gtest.h>

namespace morvel {
namespace {

TEST(Log, PrefixesEveryLine) {
    SimulatedLog log;
    log.line("Limiter ready");
    EXPECT_EQ(log.lines(), std::vector<std::string>{"[Morvel] Limiter ready"});
}

TEST(Log, KeepsAMessageWithLineBreaksAndControlCharactersOnOneLine) {
    SimulatedLog log;
    log.line("name\nwith\r\x1b[31m tricks\tand ünïcode");
    EXPECT_EQ(log.lines(), std::vector<std::string>{"[Morvel] name with  [31m tricks and ünïcode"});
}

TEST(Log, ShortensAnEndlessMessageAtACharacterBoundary) {
    SimulatedLog log;
    std::string endless = "x";
    for (int i = 0; i < 100000; ++i)
        endless += "ü";
    log.line(endless);
    const std::string line = log.lines().front();
    EXPECT_LT(line.size(), 5000u);
    EXPECT_TRUE(line.ends_with("ü…"));
}

} // namespace
} // namespace morvel
