import QtQuick
import Morvel.Views

// A sound module's switch, and its volume beneath.
Column {
    id: row

    required property QtObject module

    spacing: 6

    Switch {
        width: parent.width
        text: row.module.title
        checked: row.module.enabled
        onToggled: row.module.enabled = checked
    }
    Item {
        objectName: row.module.title + " volume row"
        width: parent.width
        height: slider.height
        enabled: row.module.enabled
        opacity: enabled ? 1 : 0.45

        Symbol {
            id: speaker
            name: "speaker.fill"
            size: 16
            color: Appearance.secondary
            anchors.verticalCenter: parent.verticalCenter
        }
        Slider {
            id: slider
            anchors.left: speaker.right
            anchors.right: percentage.left
            anchors.leftMargin: 8
            anchors.rightMargin: 8
            current: row.module.volume
            onChosen: value => row.module.volume = value
            Accessible.name: row.module.title + " volume"
        }
        Item {
            id: percentage
            width: 40
            height: parent.height
            anchors.right: parent.right
            TabularText {
                anchors.right: parent.right
                anchors.verticalCenter: parent.verticalCenter
                text: row.module.percentage
            }
        }
    }
}
