#include "platform/ApplicationIdentifier.h"
#include "tests/packaging/InstalledCopy.h"

#include <gmock/gmock.h>

#include <QColor>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>
#include <regex>

namespace morvel {
namespace {

namespace fs = std::filesystem;

using test::InstalledCopy;
using test::Ran;
using test::run;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::StartsWith;

const std::string identifier{applicationIdentifier};

// Every part of `text` that matches.
std::set<std::string> matches(const std::string& text, const std::string& pattern) {
    const std::regex expression(pattern);
    std::set<std::string> found;
    for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end;
         ++match)
        found.insert(match->str(1));
    return found;
}

class InstalledFiles : public InstalledCopy {
protected:
    fs::path desktopEntry() const {
        return prefix / "share/applications" / (identifier + ".desktop");
    }
    fs::path metainfo() const { return prefix / "share/metainfo" / (identifier + ".metainfo.xml"); }
    // A manual page, as a terminal shows it.
    Ran manualPage(const std::string& page = "man1/morvel.1.gz") const {
        return run({"man", "--warnings", "-l", prefix / "share/man" / page},
                   {"MANWIDTH=200", "LC_ALL=C.UTF-8"});
    }
};

TEST_F(InstalledFiles, DesktopEntryIsValid) {
    const Ran validation = run({"desktop-file-validate", desktopEntry()});
    EXPECT_EQ(validation.status, 0);
    EXPECT_EQ(validation.output + validation.errors, "");
}

TEST_F(InstalledFiles, DesktopEntryNamesTheCommandAndAnIconThatExists) {
    const std::string entry = readText(desktopEntry());
    EXPECT_THAT(entry, HasSubstr("\nExec=morvel\n"));
    EXPECT_THAT(entry, HasSubstr("\nIcon=" + identifier + "\n"));
    EXPECT_TRUE(fs::exists(prefix / "share/icons/hicolor/scalable/apps" / (identifier + ".svg")));
    // What it has the running program do, it can be asked for.
    const std::string help = run({prefix / "bin/morvel", "--help"}).output;
    for (const std::string& option : matches(entry, "\nExec=morvel (\\S+)\n"))
        EXPECT_THAT(help, HasSubstr(option));
}

TEST_F(InstalledFiles, TheBusKnowsTheApplicationByItsIdentifier) {
    EXPECT_EQ(readText(prefix / "share/dbus-1/services" / (identifier + ".service")),
              "[D-BUS Service]\nName=" + identifier + "\nExec=/usr/bin/env morvel\n");
}

TEST_F(InstalledFiles, MetainfoIsValid) {
    const Ran validation = run({"appstreamcli", "validate", "--no-net", metainfo()});
    EXPECT_EQ(validation.status, 0) << validation.output << validation.errors;
}

TEST_F(InstalledFiles, MetainfoBelongsToTheDesktopEntryAndTheVersion) {
    const std::string text = readText(metainfo());
    EXPECT_THAT(text, HasSubstr("<id>" + identifier + "</id>"));
    EXPECT_THAT(text, HasSubstr(">" + identifier + ".desktop</launchable>"));
    EXPECT_THAT(text, HasSubstr("<release version=\"" MORVEL_VERSION "\""));
}

TEST_F(InstalledFiles, ManualPagesAreSetWithoutAWarning) {
    for (const char* const name : {"man1/morvel.1.gz", "man8/morvel-keyboard-access.8.gz"}) {
        const Ran page = manualPage(name);
        EXPECT_EQ(page.status, 0) << name;
        EXPECT_EQ(page.errors, "") << name;
        EXPECT_THAT(page.output, HasSubstr("Morvel " MORVEL_VERSION));
    }
}

TEST_F(InstalledFiles, ManualPageTellsOfEveryOption) {
    const std::string help = run({prefix / "bin/morvel", "--help"}).output;
    const auto options = matches(help, "(--[a-z-]+)");
    EXPECT_EQ(options.size(), 6U);
    const std::string page = manualPage().output;
    for (const std::string& option : options)
        EXPECT_THAT(page, HasSubstr(option));
}

TEST_F(InstalledFiles, ManualPageTellsOfEveryVariableThatTheReadmeTellsOf) {
    const auto variables = matches(readText(source / "README.md"), "(MORVEL_[A-Z_]+)");
    EXPECT_GT(variables.size(), 10U);
    const std::string page = manualPage().output;
    for (const std::string& variable : variables)
        EXPECT_THAT(page, HasSubstr(variable));
}

TEST_F(InstalledFiles, ManualPageAndReadmeTellHowAccessToTheKeyboardsIsGivenAndTakenBack) {
    const std::string program = "/usr/libexec/morvel-keyboard-access";
    EXPECT_THAT(readText(source / "README.md"),
                AllOf(HasSubstr("pkexec " + program + " --revoke"), HasSubstr("`--grant`")));
    EXPECT_THAT(manualPage().output,
                AllOf(HasSubstr("pkexec " + program + " --revoke"),
                      HasSubstr("pkexec " + program + " --grant"),
                      ContainsRegex("another[[:space:]]+prefix"),
                      HasSubstr("/etc/udev/rules.d/70-" + identifier + "-keyboards.rules")));
    EXPECT_THAT(manualPage("man8/morvel-keyboard-access.8.gz").output,
                AllOf(HasSubstr(program + " {--grant | --revoke}"),
                      ContainsRegex("another[[:space:]]+prefix"),
                      HasSubstr("/etc/udev/rules.d/70-" + identifier + "-keyboards.rules")));
}

TEST_F(InstalledFiles, PolicyNamesTheProgramThatIsInstalledForAll) {
    const std::string policy =
        readText(prefix / "share/polkit-1/actions" / (identifier + ".policy"));
    EXPECT_EQ(matches(policy, "policykit.exec.path\">([^<]*)<"),
              std::set<std::string>{"/usr/libexec/morvel-keyboard-access"});
    EXPECT_EQ(run({prefix / "libexec/morvel-keyboard-access", "--help"}).status, 2);
}

TEST_F(InstalledFiles, EveryIconDrawsSomethingInEverySize) {
    int icons = 0;
    for (const auto& entry : fs::recursive_directory_iterator(prefix / "share/icons")) {
        if (entry.path().extension() != ".svg")
            continue;
        ++icons;
        QSvgRenderer icon(QString::fromStdString(entry.path().string()));
        ASSERT_TRUE(icon.isValid()) << entry.path();
        EXPECT_EQ(icon.defaultSize().width(), icon.defaultSize().height()) << entry.path();
        for (const int size : {16, 32, 128}) {
            QImage image(size, size, QImage::Format_ARGB32);
            image.fill(Qt::transparent);
            QPainter painter(&image);
            icon.render(&painter);
            painter.end();
            int drawn = 0;
            for (int y = 0; y < size; ++y)
                for (int x = 0; x < size; ++x)
                    drawn += qAlpha(image.pixel(x, y)) > 128 ? 1 : 0;
            EXPECT_GT(drawn, size * size / 8) << entry.path() << " at " << size;
        }
    }
    EXPECT_EQ(icons, 4);
}

// A panel gives what it fills a colour of its own; what is stroked it leaves, or fills as well.
TEST_F(InstalledFiles, EverySymbolIsFilledAndNotStroked) {
    for (const auto& entry : fs::directory_iterator(prefix / "share/icons/hicolor/symbolic/apps")) {
        const std::string text = readText(entry.path());
        EXPECT_EQ(text.find("stroke"), std::string::npos) << entry.path();
        EXPECT_EQ(matches(text, "fill=\"([^\"]*)\""), std::set<std::string>{"currentColor"})
            << entry.path();
    }
}

// Some panels leave a symbol the colour that it has: it must be seen on light and on dark ones.
TEST_F(InstalledFiles, EverySymbolIsOfAMiddleGreyUntilAPanelTintsIt) {
    for (const auto& entry : fs::directory_iterator(prefix / "share/icons/hicolor/symbolic/apps")) {
        QSvgRenderer icon(QString::fromStdString(entry.path().string()));
        QImage image(64, 64, QImage::Format_ARGB32);
        image.fill(Qt::transparent);
        QPainter painter(&image);
        icon.render(&painter);
        painter.end();
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                if (const QColor pixel = image.pixelColor(x, y); pixel.alpha() > 250) {
                    ASSERT_NEAR(pixel.lightness(), 128, 16) << entry.path();
                }
    }
}

TEST_F(InstalledFiles, ChangelogBeginsWithTheVersion) {
    const Ran text = run({"zcat", prefix / "share/doc/morvel/changelog.Debian.gz"});
    EXPECT_THAT(text.output, StartsWith("morvel (" MORVEL_VERSION "-"));
}

TEST_F(InstalledFiles, CopyrightHoldsTheWholeLicence) {
    const std::regex blank("\\s+(\\.\\s+)?");
    const auto joined = [&](const std::string& text) {
        return std::regex_replace(text, blank, " ");
    };
    const std::string licence = readText(source / "LICENSE");
    EXPECT_THAT(joined(readText(prefix / "share/doc/morvel/copyright")),
                HasSubstr(joined(licence.substr(licence.find("Permission")))));
}

} // namespace
} // namespace morvel
