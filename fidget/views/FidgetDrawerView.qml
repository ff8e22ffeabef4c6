import QtQuick
import Morvel.Fidget
import Morvel.Views

Item {
    id: drawer

    required property QtObject settings
    required property ToggleSwitchModel toggleSwitch
    required property SpinDialModel spinDial
    required property PopGridModel popGrid
    required property ClickyButtonModel clickyButton

    width: 320
    height: 400

    Item {
        id: header

        anchors { left: parent.left; right: parent.right; top: parent.top; margins: 12 }
        height: 2 * Math.ceil(title.implicitHeight / 2)

        Text {
            id: title

            anchors.verticalCenter: parent.verticalCenter
            text: "Fidget Drawer"
            color: Appearance.text
            font { pixelSize: 12; weight: Font.DemiBold }
        }
        Row {
            objectName: "muted"
            anchors { right: parent.right; verticalCenter: parent.verticalCenter }
            spacing: 4
            visible: !drawer.settings.fidgetEnabled

            Symbol {
                anchors.verticalCenter: parent.verticalCenter
                name: "speaker.slash.fill"
                size: 1.2 * label.font.pixelSize // as tall as a line of its text
                color: Appearance.secondary
            }
            Text {
                id: label

                anchors.verticalCenter: parent.verticalCenter
                text: "Muted"
                color: Appearance.secondary
                font.pixelSize: 10
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
        }
    }

    Item {
        id: grid

        // Both get the same, unless one needs more.
        function first(available, firstNeeds, secondNeeds) {
            return Math.round(Math.min(Math.max(available / 2, firstNeeds), available - secondNeeds));
        }

        readonly property real leftWidth: first(width - 10,
            Math.max(switchToy.implicitWidth, popToy.implicitWidth),
            Math.max(dialToy.implicitWidth, buttonToy.implicitWidth))
        readonly property real upperHeight: first(height - 10,
            Math.max(switchToy.implicitHeight, dialToy.implicitHeight),
            Math.max(popToy.implicitHeight, buttonToy.implicitHeight))

        anchors {
            left: parent.left
            right: parent.right
            top: header.bottom
            bottom: parent.bottom
            margins: 12
        }

        ToggleSwitchToy {
            id: switchToy

            objectName: "switch"
            toggle: drawer.toggleSwitch
            width: grid.leftWidth
            height: grid.upperHeight
        }
        SpinDialToy {
            id: dialToy

            objectName: "dial"
            dial: drawer.spinDial
            x: grid.leftWidth + 10
            width: grid.width - x
            height: grid.upperHeight
        }
        PopGridToy {
            id: popToy

            objectName: "pop"
            bubbles: drawer.popGrid
            y: grid.upperHeight + 10
            width: grid.leftWidth
            height: grid.height - y
        }
        ClickyButtonToy {
            id: buttonToy

            objectName: "button"
            button: drawer.clickyButton
            x: dialToy.x
            y: popToy.y
            width: grid.width - x
            height: grid.height - y
        }
    }
}
