// The views of the application's windows. Main thread.
#pragma once

#include <QString>
#include <QUrl>

namespace morvel {

// Once, before an engine loads one of these views.
void registerAppViews();

// Where the view `name` ("SettingsView") is.
QUrl appView(const QString& name);

} // namespace morvel
