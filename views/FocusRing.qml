import QtQuick
import Morvel.Views

// Shows around `parent` where the keyboard is.
ContinuousRectangle {
    property bool shown: false
    property real innerRadius: 6

    anchors.fill: parent
    anchors.margins: -3
    visible: shown
    radius: innerRadius + 3
    borderWidth: 3
    borderColor: Appearance.faded(Appearance.accent, 0.55)
}
