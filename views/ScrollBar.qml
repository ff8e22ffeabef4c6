import QtQuick
import QtQuick.Templates as T
import Morvel.Views

// A slim bar over the edge of what scrolls; gone while all of it is seen.
T.ScrollBar {
    id: control

    implicitWidth: 12
    padding: 3
    minimumSize: 0.1
    visible: size < 1
    contentItem: Rectangle {
        implicitWidth: 6
        radius: 3
        color: Appearance.faded(Appearance.text,
                                control.pressed ? 0.5 : control.hovered ? 0.4 : 0.25)
    }
}
