// The palette that follows a settings portal, over a real bus.

#include "platform/linux/DesktopAppearance.h"
#include "tests/support/BusServer.h"
#include "tests/support/MainLoop.h"

#include <gtest/gtest.h>

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QGuiApplication>
#include <QMap>
#include <QPalette>

struct Rgb {
    double red = 0;
    double green = 0;
    double blue = 0;
};
Q_DECLARE_METATYPE(Rgb)

inline QDBusArgument& operator<<(QDBusArgument& argument, const Rgb& color) {
    argument.beginStructure();
    argument << color.red << color.green << color.blue;
    argument.endStructure();
    return argument;
}
inline const QDBusArgument& operator>>(const QDBusArgument& argument, Rgb& color) {
    argument.beginStructure();
    argument >> color.red >> color.green >> color.blue;
    argument.endStructure();
    return argument;
}

using SettingGroups = QMap<QString, QVariantMap>;
Q_DECLARE_METATYPE(SettingGroups)

namespace morvel {
namespace {

// A portal that a test speaks for.
class Portal : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.portal.Settings")

public:
    SettingGroups settings;
    int reads = 0;

public slots:
    SettingGroups ReadAll(const QStringList&) {
        ++reads;
        return settings;
    }
};

class DesktopAppearanceTest : public testing::Test {
protected:
    void SetUp() override {
        qDBusRegisterMetaType<Rgb>();
        qDBusRegisterMetaType<SettingGroups>();
        ASSERT_TRUE(portalSide_.registerObject("/org/freedesktop/portal/desktop", &portal_,
                                               QDBusConnection::ExportAllSlots));
        ASSERT_TRUE(portalSide_.registerService("org.freedesktop.portal.Desktop"));
    }
    ~DesktopAppearanceTest() override {
        QGuiApplication::setPalette(QPalette());
        QDBusConnection::disconnectFromBus("portal");
        QDBusConnection::disconnectFromBus("morvel");
    }
    QDBusConnection client(const char* name) {
        return QDBusConnection::connectToBus(QString::fromStdString(bus_.address()), name);
    }
    void start(const QVariantMap& settings) {
        portal_.settings["org.freedesktop.appearance"] = settings;
        appearance_ = std::make_unique<DesktopAppearance>(client("morvel"));
    }
    void change(const char* key, const QVariant& value,
                const char* group = "org.freedesktop.appearance") {
        auto announcement = QDBusMessage::createSignal(
            "/org/freedesktop/portal/desktop", "org.freedesktop.portal.Settings", "SettingChanged");
        announcement << QString(group) << QString(key) << QVariant::fromValue(QDBusVariant(value));
        ASSERT_TRUE(portalSide_.send(announcement));
    }
    static QColor role(QPalette::ColorRole wanted) {
        return QGuiApplication::palette().color(QPalette::Active, wanted);
    }
    static bool dark() {
        return role(QPalette::Window).lightnessF() < role(QPalette::WindowText).lightnessF();
    }
    // Waits until what was said before has been heard: the reply to one more change, in order.
    void settle() {
        change("accent-color", QVariant::fromValue(Rgb{1, 0, 1}));
        EXPECT_TRUE(
            test::runUntil([] { return role(QPalette::Highlight) == QColor(255, 0, 255); }));
    }

    test::BusServer bus_;
    Portal portal_;
    QDBusConnection portalSide_ = client("portal");
    std::unique_ptr<DesktopAppearance> appearance_;
};

TEST_F(DesktopAppearanceTest, ADarkDesktopMakesADarkPaletteAndALightOneTakesItBack) {
    const QPalette before = QGuiApplication::palette();
    start({{"color-scheme", 1U}});
    EXPECT_TRUE(test::runUntil(dark));
    EXPECT_GT(role(QPalette::Text).lightnessF() - role(QPalette::Base).lightnessF(), 0.5F);
    change("color-scheme", 2U);
    EXPECT_TRUE(test::runUntil([] { return !dark(); }));
    EXPECT_EQ(QGuiApplication::palette(), before);
    change("color-scheme", 1U);
    EXPECT_TRUE(test::runUntil(dark));
}

TEST_F(DesktopAppearanceTest, TheAccentColourIsFollowedWithTextThatIsReadOnIt) {
    start({{"accent-color", QVariant::fromValue(Rgb{0.2, 0.4, 0.6})}});
    EXPECT_TRUE(test::runUntil(
        [] { return role(QPalette::Highlight).rgb() == QColor(51, 102, 153).rgb(); }));
    EXPECT_EQ(role(QPalette::HighlightedText), QColor(Qt::white));
    EXPECT_FALSE(dark());
    change("accent-color", QVariant::fromValue(Rgb{1, 0.9, 0.3}));
    EXPECT_TRUE(
        test::runUntil([] { return role(QPalette::HighlightedText) == QColor(Qt::black); }));
}

TEST_F(DesktopAppearanceTest, AnAccentOutOfRangeOrOfAnotherKindIsNone) {
    start({{"color-scheme", 1U}, {"accent-color", QVariant::fromValue(Rgb{-1, 0, 0})}});
    EXPECT_TRUE(test::runUntil(dark));
    const QColor own = role(QPalette::Highlight);
    change("accent-color", "red");
    change("accent-color", QVariant::fromValue(Rgb{0, 0, 2}));
    change("accent-color", QVariantMap{{"red", 1.0}});
    EXPECT_EQ(role(QPalette::Highlight), own);
    settle();
}

TEST_F(DesktopAppearanceTest, ValuesOfTheWrongKindAndOtherSettingsChangeNothing) {
    start({{"color-scheme", "dark"}, {"contrast", 1U}});
    change("color-scheme", 1U, "org.example");
    change("color-scheme", 7U);
    settle();
    EXPECT_FALSE(dark());
}

TEST_F(DesktopAppearanceTest, APaletteOfAThemesOrTheUsersOwnIsLeftAlone) {
    QPalette chosen;
    chosen.setColor(QPalette::Highlight, Qt::red);
    QGuiApplication::setPalette(chosen);
    start({{"color-scheme", 1U}});
    EXPECT_TRUE(test::runUntil([&] { return portal_.reads == 1; }));
    appearance_.reset();
    EXPECT_EQ(role(QPalette::Highlight), QColor(Qt::red));
    EXPECT_FALSE(dark());
}

TEST(DesktopAppearanceWithoutPortalTest, ThePaletteStaysAsItIs) {
    const QPalette before = QGuiApplication::palette();
    const DesktopAppearance appearance(QDBusConnection("none"));
    EXPECT_EQ(QGuiApplication::palette(), before);
}

} // namespace
} // namespace morvel

#include "DesktopAppearanceTests.moc"
