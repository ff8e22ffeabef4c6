import QtQuick
import Morvel.Fidget
import Morvel.Views

ToyTile {
    id: toy

    required property ToggleSwitchModel toggle
    property real trackWidth: 76
    property real trackHeight: 40

    title: "Switch"
    contentWidth: trackWidth
    contentHeight: trackHeight

    SpringValue {
        id: position

        target: toy.toggle.isOn ? 1 : 0
        response: 0.28
        dampingFraction: 0.6
    }
    ContinuousRectangle {
        id: track

        width: toy.trackWidth
        height: toy.trackHeight
        anchors.centerIn: parent
        radius: height / 2
        color: Appearance.blended(Appearance.faded(Appearance.secondary, 0.35), Appearance.accent,
                                  position.value)
        relief: -1

        activeFocusOnTab: true
        Accessible.role: Accessible.CheckBox
        Accessible.name: "Fidget switch"
        Accessible.description: toy.toggle.isOn ? "on" : "off"
        Accessible.focusable: true
        Accessible.checkable: true
        Accessible.checked: toy.toggle.isOn
        Accessible.onToggleAction: toy.toggle.tap()
        Accessible.onPressAction: toy.toggle.tap()

        TapHandler {
            gesturePolicy: TapHandler.ReleaseWithinBounds
            longPressThreshold: 1e5
            onTapped: toy.toggle.tap()
        }
        Keys.onPressed: event => {
            if (event.key !== Qt.Key_Space && event.key !== Qt.Key_Return && event.key !== Qt.Key_Enter)
                return;
            event.accepted = true;
            if (!event.isAutoRepeat)
                toy.toggle.tap();
        }

        FocusRing {
            shown: parent.activeFocus
            innerRadius: parent.radius
        }
        Item {
            x: 4 + position.value * (track.width - track.height)
            y: 4
            width: track.height - 8
            height: width

            SoftShadow {
                anchors.fill: parent
                cornerRadius: width / 2
                color: Qt.rgba(0, 0, 0, 0.33)
                radius: 1
                offset: 1
            }
            ContinuousRectangle {
                anchors.fill: parent
                radius: width / 2
                color: "white"
                relief: 0.45
            }
        }
    }
}
