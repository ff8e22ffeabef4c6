// What the system is told to ask before it runs the program that gives access to the keyboards.

#include "platform/ApplicationBundle.h"
#include "platform/linux/KeyboardAccess.h"
#include "tests/support/TemporaryFolder.h"

#include <gmock/gmock.h>

#include <QProcess>
#include <QXmlStreamReader>
#include <map>
#include <vector>

namespace morvel {
namespace {

using testing::HasSubstr;

struct Action {
    std::string id;
    std::map<std::string, std::string> texts;       // by element
    std::map<std::string, std::string> annotations; // by key
};

std::vector<Action> actions() {
    const std::string content = readText(MORVEL_POLICY);
    QXmlStreamReader reader(QByteArray::fromStdString(content));
    std::vector<Action> found;
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement)
            continue;
        const std::string name = reader.name().toString().toStdString();
        const auto attributes = reader.attributes();
        if (name == "action")
            found.push_back({attributes.value("id").toString().toStdString(), {}, {}});
        else if (name == "annotate")
            found.back().annotations[attributes.value("key").toString().toStdString()] =
                reader.readElementText().toStdString();
        else if (!found.empty() && name != "defaults")
            found.back().texts[name] = reader.readElementText().toStdString();
    }
    EXPECT_FALSE(reader.hasError()) << reader.errorString().toStdString();
    return found;
}

TEST(KeyboardAccessPolicyTest, IsWhatPolkitReads) {
    QProcess validator;
    validator.setProcessChannelMode(QProcess::MergedChannels);
    validator.start(
        QStringLiteral("xmllint"),
        {QStringLiteral("--noout"), QStringLiteral("--nonet"), QStringLiteral("--dtdvalid"),
         QStringLiteral("/usr/share/polkit-1/policyconfig-1.dtd"), QStringLiteral(MORVEL_POLICY)});
    ASSERT_TRUE(validator.waitForFinished()) << validator.errorString().toStdString();
    EXPECT_EQ(validator.exitCode(), 0) << validator.readAll().toStdString();
}

TEST(KeyboardAccessPolicyTest, NamesTheProgramAndEachOfItsArguments) {
    const std::vector<Action> found = actions();
    ASSERT_EQ(found.size(), 2U);
    const std::string id = std::string(applicationIdentifier) + ".keyboard-access";
    EXPECT_EQ(found[0].id, id);
    EXPECT_EQ(found[1].id, id + "-revoke");
    for (const Action& action : found)
        EXPECT_EQ(action.annotations.at("org.freedesktop.policykit.exec.path"),
                  installedKeyboardAccess);
    EXPECT_EQ(found[0].annotations.at("org.freedesktop.policykit.exec.argv1"), "--grant");
    EXPECT_EQ(found[1].annotations.at("org.freedesktop.policykit.exec.argv1"), "--revoke");
}

TEST(KeyboardAccessPolicyTest, AsksAnAdministratorAtThisSeatEveryTime) {
    for (const Action& action : actions()) {
        EXPECT_EQ(action.texts.at("allow_any"), "no");
        EXPECT_EQ(action.texts.at("allow_inactive"), "no");
        EXPECT_EQ(action.texts.at("allow_active"), "auth_admin");
    }
}

TEST(KeyboardAccessPolicyTest, TellsWhatItMeans) {
    const std::string message = actions().front().texts.at("message");
    for (const char* words :
         {"every program", "every key", "passwords", "press keys", "take it back"})
        EXPECT_THAT(message, HasSubstr(words));
}

} // namespace
} // namespace morvel
