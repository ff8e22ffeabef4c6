#include "app/views/AppViews.h"

// Generated with the module. A static library's registration is linked only where it is named.
extern void qml_register_types_Morvel_Windows();

namespace morvel {

void registerAppViews() {
    qml_register_types_Morvel_Windows();
}

QUrl appView(const QString& name) {
    return {QStringLiteral("qrc:/qt-project.org/imports/Morvel/Windows/%1.qml").arg(name)};
}

} // namespace morvel
