#include "platform/linux/DesktopAppearance.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QGuiApplication>
#include <QMap>
#include <algorithm>
#include <array>

using SettingGroups = QMap<QString, QVariantMap>;
Q_DECLARE_METATYPE(SettingGroups)

namespace morvel {

namespace {

const QString service = QStringLiteral("org.freedesktop.portal.Desktop");
const QString object = QStringLiteral("/org/freedesktop/portal/desktop");
const QString interface = QStringLiteral("org.freedesktop.portal.Settings");
const QString appearance = QStringLiteral("org.freedesktop.appearance");

// The selection's colour in the palette that Qt uses when no platform theme has one.
constexpr QRgb qtsOwnHighlight = 0xff308cc6;

std::optional<QColor> colorFrom(const QVariant& value) {
    if (!value.canConvert<QDBusArgument>())
        return std::nullopt;
    const auto argument = value.value<QDBusArgument>();
    if (argument.currentSignature() != QLatin1String("(ddd)"))
        return std::nullopt;
    std::array<double, 3> parts{};
    argument.beginStructure();
    argument >> parts[0] >> parts[1] >> parts[2];
    argument.endStructure();
    // Anything outside means that the user has chosen none.
    if (!std::all_of(parts.begin(), parts.end(), [](double x) { return x >= 0 && x <= 1; }))
        return std::nullopt;
    return QColor::fromRgbF(static_cast<float>(parts[0]), static_cast<float>(parts[1]),
                            static_cast<float>(parts[2]));
}

void makeDark(QPalette& palette) {
    const QColor text(232, 232, 234);
    const QColor faint(130, 130, 134);
    palette.setColor(QPalette::Window, QColor(40, 40, 42));
    palette.setColor(QPalette::Base, QColor(30, 30, 32));
    palette.setColor(QPalette::AlternateBase, QColor(36, 36, 38));
    palette.setColor(QPalette::Button, QColor(58, 58, 60));
    palette.setColor(QPalette::ToolTipBase, QColor(58, 58, 60));
    palette.setColor(QPalette::Light, QColor(84, 84, 88));
    palette.setColor(QPalette::Midlight, QColor(70, 70, 74));
    palette.setColor(QPalette::Mid, QColor(50, 50, 52));
    palette.setColor(QPalette::Dark, QColor(24, 24, 26));
    palette.setColor(QPalette::Link, QColor(110, 168, 254));
    for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText,
                            QPalette::ToolTipText, QPalette::BrightText}) {
        palette.setColor(role, text);
        palette.setColor(QPalette::Disabled, role, faint);
    }
    palette.setColor(QPalette::PlaceholderText, faint);
}

void setAccent(QPalette& palette, const QColor& accent) {
    const float luminance =
        0.299F * accent.redF() + 0.587F * accent.greenF() + 0.114F * accent.blueF();
    palette.setColor(QPalette::Highlight, accent);
    palette.setColor(QPalette::HighlightedText, luminance > 0.65F ? Qt::black : Qt::white);
}

} // namespace

DesktopAppearance::DesktopAppearance(QDBusConnection session)
    : session_(std::move(session)) {
    if (!session_.isConnected())
        return;
    qDBusRegisterMetaType<SettingGroups>();
    session_.connect(service, object, interface, QStringLiteral("SettingChanged"), this,
                     SLOT(settingChanged(QDBusMessage)));
    auto call =
        QDBusMessage::createMethodCall(service, object, interface, QStringLiteral("ReadAll"));
    call << QStringList{appearance};
    auto* const answer = new QDBusPendingCallWatcher(session_.asyncCall(call), this);
    connect(answer, &QDBusPendingCallWatcher::finished, this, [this, answer] {
        answer->deleteLater();
        const QDBusPendingReply<SettingGroups> reply = *answer;
        if (reply.isError())
            return;
        const QVariantMap settings = reply.value().value(appearance);
        for (auto setting = settings.begin(); setting != settings.end(); ++setting)
            take(setting.key(), setting.value());
        apply();
    });
}

DesktopAppearance::~DesktopAppearance() = default;

void DesktopAppearance::settingChanged(const QDBusMessage& announcement) {
    const QVariantList arguments = announcement.arguments();
    if (announcement.signature() != QLatin1String("ssv") || arguments[0].toString() != appearance)
        return;
    take(arguments[1].toString(), arguments[2].value<QDBusVariant>().variant());
    apply();
}

void DesktopAppearance::take(const QString& key, const QVariant& value) {
    if (key == QLatin1String("color-scheme"))
        dark_ = value.toUInt() == 1;
    else if (key == QLatin1String("accent-color"))
        accent_ = colorFrom(value);
}

void DesktopAppearance::apply() {
    // A palette that is not Qt's own comes from a theme that knows the desktop, or from the user.
    if (!applied_ &&
        QGuiApplication::palette().color(QPalette::Active, QPalette::Highlight).rgba() !=
            qtsOwnHighlight)
        return;
    if (!applied_ && !dark_ && !accent_)
        return;
    applied_ = true;
    QGuiApplication::setPalette(QPalette());
    QPalette palette = QGuiApplication::palette();
    if (dark_)
        makeDark(palette);
    if (accent_)
        setAccent(palette, *accent_);
    if (dark_ || accent_)
        QGuiApplication::setPalette(palette);
}

} // namespace morvel
