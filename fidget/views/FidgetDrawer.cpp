#include "fidget/views/FidgetDrawer.h"

// Generated with the module. A static library's registration is linked only where it is named.
extern void qml_register_types_Morvel_Fidget();

namespace morvel {

FidgetDrawer::FidgetDrawer(AppSettings& settings, AudioEngine& audio, const Clock& clock)
    : settings_(settings)
    , toggleSwitch_(FidgetSound(settings, audio))
    , spinDial_(settings, audio, clock)
    , popGrid_(FidgetSound(settings, audio))
    , clickyButton_(FidgetSound(settings, audio)) {}

void FidgetDrawer::registerViews() {
    qml_register_types_Morvel_Fidget();
}

QUrl FidgetDrawer::source() const {
    return QStringLiteral("qrc:/qt-project.org/imports/Morvel/Fidget/FidgetDrawerView.qml");
}

QVariantMap FidgetDrawer::properties() {
    return {{QStringLiteral("settings"), QVariant::fromValue<QObject*>(&settings_)},
            {QStringLiteral("toggleSwitch"), QVariant::fromValue<QObject*>(&toggleSwitch_)},
            {QStringLiteral("spinDial"), QVariant::fromValue<QObject*>(&spinDial_)},
            {QStringLiteral("popGrid"), QVariant::fromValue<QObject*>(&popGrid_)},
            {QStringLiteral("clickyButton"), QVariant::fromValue<QObject*>(&clickyButton_)}};
}

} // namespace morvel
