#include "platform/linux/DesktopEntry.h"

#include <gtest/gtest.h>

namespace morvel {
namespace {

TEST(DesktopEntry, ReadsOnlyItsOwnGroup) {
    const auto entry =
        DesktopEntry::parse("# Exec=comment\nExec=outside\n[Other]\nExec=other\n"
                            "[Desktop Entry]\n  Exec = mine \n[Later]\nExec=later\n");
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->string("Exec"), "mine");
    EXPECT_EQ(entry->string("Type"), std::nullopt);
}

TEST(DesktopEntry, TextWithoutTheGroupIsNone) {
    EXPECT_FALSE(DesktopEntry::parse(""));
    EXPECT_FALSE(DesktopEntry::parse("Exec=x\n[Desktop]\n"));
}

TEST(DesktopEntry, EditsInPlaceAndKeepsEverythingElse) {
    auto entry = DesktopEntry::parse("# a note\n[Desktop Entry]\nName=M\nExec=old\nName[de]=D\n"
                                     "\n[Desktop Action x]\nExec=action");
    ASSERT_TRUE(entry);
    entry->setString("Exec", "new");
    entry->setString("TryExec", "new");
    EXPECT_EQ(entry->text(), "# a note\n[Desktop Entry]\nName=M\nExec=new\nName[de]=D\n"
                             "TryExec=new\n\n[Desktop Action x]\nExec=action\n");
}

TEST(DesktopEntry, ValuesComeBackAsTheyWere) {
    for (const char* value : {"", " leading", "a\\b", "line\nbreak\ttab\rreturn", "\\s", "ünï"}) {
        DesktopEntry entry;
        entry.setString("Key", value);
        EXPECT_EQ(DesktopEntry::parse(entry.text())->string("Key"), value);
    }
}

TEST(DesktopEntry, QuotesAnExecWordByTheRules) {
    EXPECT_EQ(execQuoted("/usr/bin/morvel"), "/usr/bin/morvel");
    EXPECT_EQ(execQuoted("/my apps/morvel"), "\"/my apps/morvel\"");
    EXPECT_EQ(execQuoted("/50%/morvel"), "/50%%/morvel");
    EXPECT_EQ(execQuoted("/a\"b`c$d\\e"), "\"/a\\\"b\\`c\\$d\\\\e\"");
    EXPECT_EQ(execQuoted("it's"), "\"it's\"");
}

TEST(DesktopEntry, ReadsTheProgramOfAnExecValue) {
    EXPECT_EQ(execProgram("morvel --quiet %U"), "morvel");
    EXPECT_EQ(execProgram("  \"/my apps/morvel\" --quiet"), "/my apps/morvel");
    EXPECT_EQ(execProgram(""), std::nullopt);
    EXPECT_EQ(execProgram("\"/unfinished"), std::nullopt);
    for (const char* path : {"/a b", "/a\"b", "/a$b", "/a\\b", "/a%b", "/a%%b", "/a`b", "/a'b",
                             "/a\nb", "/\\\\", "/a%\"$`\\ b"})
        EXPECT_EQ(execProgram(execQuoted(path)), path);
}

} // namespace
} // namespace morvel
