import QtQuick
import Morvel.Fidget
import Morvel.Views

// Around its parent while that has the keyboard. `radius` is the parent's.
ContinuousRectangle {
    property bool shown: parent.activeFocus
    property real cornerRadius: parent.height / 2

    anchors { fill: parent; margins: -4 }
    radius: cornerRadius + 4
    borderWidth: 2
    borderColor: Appearance.faded(Appearance.accent, 0.7)
    visible: shown
}
