#include "app/instance/CommandLine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace morvel {
namespace {

using testing::HasSubstr;
using Arguments = std::vector<std::string>;

CommandLine parsed(const Arguments& arguments) {
    const auto result = parseCommandLine(arguments, "1.2.3");
    EXPECT_TRUE(std::holds_alternative<CommandLine>(result)) << std::get<ProgramExit>(result).text;
    return std::holds_alternative<CommandLine>(result) ? std::get<CommandLine>(result)
                                                       : CommandLine{};
}

ProgramExit refused(const Arguments& arguments) {
    const auto result = parseCommandLine(arguments, "1.2.3");
    EXPECT_TRUE(std::holds_alternative<ProgramExit>(result));
    return std::holds_alternative<ProgramExit>(result) ? std::get<ProgramExit>(result)
                                                       : ProgramExit{};
}

TEST(CommandLineTest, WithoutArgumentsItJustStarts) {
    EXPECT_EQ(parsed({}).request, std::nullopt);
}

TEST(CommandLineTest, EachOptionIsItsRequest) {
    EXPECT_EQ(parsed({"--open-drawer"}).request, InstanceRequest::openDrawer);
    EXPECT_EQ(parsed({"--settings"}).request, InstanceRequest::openSettings);
    EXPECT_EQ(parsed({"--toggle-mute"}).request, InstanceRequest::toggleMute);
    EXPECT_EQ(parsed({"--quit"}).request, InstanceRequest::quit);
    EXPECT_EQ(parsed({"--quit", "--quit"}).request, InstanceRequest::quit);
}

TEST(CommandLineTest, EachActionIsTheRequestOfItsOption) {
    for (const char* action : {"open-drawer", "settings", "toggle-mute", "quit"})
        EXPECT_EQ(requestOfAction(action), parsed({std::string("--") + action}).request);
    for (const char* action : {"", "--quit", "help", "Quit", "qui"})
        EXPECT_EQ(requestOfAction(action), std::nullopt) << action;
}

TEST(CommandLineTest, HelpNamesEveryOptionAndSucceeds) {
    const ProgramExit help = refused({"--help"});
    EXPECT_EQ(help.status, 0);
    for (const char* option :
         {"--help", "--version", "--open-drawer", "--settings", "--toggle-mute", "--quit"})
        EXPECT_THAT(help.text, HasSubstr(option));
    EXPECT_TRUE(help.text.ends_with('\n'));
}

TEST(CommandLineTest, VersionIsOneLine) {
    const ProgramExit version = refused({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_EQ(version.text, "Morvel 1.2.3\n");
}

TEST(CommandLineTest, HelpGoesBeforeAnyRequest) {
    EXPECT_THAT(refused({"--quit", "--help"}).text, HasSubstr("--open-drawer"));
}

TEST(CommandLineTest, WhatItDoesNotKnowIsNamedAndFails) {
    for (const Arguments& arguments :
         {Arguments{"--loud"}, Arguments{"loud"}, Arguments{"-q"}, Arguments{"--quit", "loud"},
          Arguments{"--", "--quit"}, Arguments{""}}) {
        const ProgramExit exit = refused(arguments);
        EXPECT_NE(exit.status, 0) << arguments.back();
        EXPECT_THAT(exit.text, HasSubstr(arguments.back()));
        EXPECT_THAT(exit.text, HasSubstr("--help"));
    }
}

TEST(CommandLineTest, AnOptionTakesNoValue) {
    for (const char* argument : {"--quit=false", "--toggle-mute=0", "--open-drawer=left"})
        EXPECT_NE(refused({argument}).status, 0) << argument;
}

TEST(CommandLineTest, TwoRequestsAtOnceAreRefused) {
    const ProgramExit exit = refused({"--settings", "--quit"});
    EXPECT_NE(exit.status, 0);
    EXPECT_THAT(exit.text, HasSubstr("--quit"));
}

TEST(CommandLineTest, ASessionManagersArgumentsArePassedOver) {
    EXPECT_EQ(parsed({"-session", "10a1_17000"}).request, std::nullopt);
    EXPECT_EQ(parsed({"-session"}).request, std::nullopt);
    EXPECT_EQ(parsed({"--settings", "-session", "--quit"}).request, InstanceRequest::openSettings);
}

} // namespace
} // namespace morvel
