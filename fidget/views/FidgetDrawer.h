// The fidget drawer: its view, and the toys that the view shows. Main thread.
#pragma once

#include "fidget/views/ToyModels.h"

#include <QSize>
#include <QUrl>
#include <QVariantMap>

namespace morvel {

class FidgetDrawer {
public:
    // All must outlive the drawer. Every toy is in its initial state.
    FidgetDrawer(AppSettings& settings, AudioEngine& audio, const Clock& clock);

    // What a QML engine needs to know before it loads the view, besides prepareViews(). Any number
    // of times.
    static void registerViews();

    static QSize size() { return {320, 400}; } // points
    QUrl source() const;
    // To be set before the view is complete. The drawer must outlive the view.
    QVariantMap properties();

private:
    AppSettings& settings_;
    ToggleSwitchModel toggleSwitch_;
    SpinDialModel spinDial_;
    PopGridModel popGrid_;
    ClickyButtonModel clickyButton_;
};

} // namespace morvel
