import QtQuick
import Morvel.Fidget
import Morvel.Views

// The card that frames a toy and names it.
Item {
    id: tile

    required property string title
    // What the content needs.
    required property real contentWidth
    required property real contentHeight
    default property alias content: stage.data

    implicitWidth: contentWidth + 2 * 10
    implicitHeight: contentHeight + 8 + name.height + 2 * 10

    ContinuousRectangle {
        anchors.fill: parent
        radius: 10
        color: Appearance.faded(Appearance.secondary, 0.08)
    }
    Item {
        id: stage

        anchors { fill: parent; margins: 10; bottomMargin: 10 + name.height + 8 }
    }
    Text {
        id: name

        anchors { bottom: parent.bottom; bottomMargin: 10; horizontalCenter: parent.horizontalCenter }
        height: Math.ceil(implicitHeight)
        text: tile.title
        color: Appearance.secondary
        font { pixelSize: 10; weight: Font.Medium }
    }
}
