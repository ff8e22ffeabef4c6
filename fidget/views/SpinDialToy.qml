import QtQuick
import QtQuick.Window
import Morvel.Fidget
import Morvel.Views

ToyTile {
    id: toy

    required property SpinDialModel dial
    property real diameter: 92
    // A drag that is still on when the window goes away ends there.
    readonly property bool onScreen: Window.visibility !== Window.Hidden

    title: "Dial"
    contentWidth: diameter
    contentHeight: diameter
    onOnScreenChanged: if (!onScreen) toy.dial.dragEnded()

    ContinuousRectangle {
        id: knob

        width: toy.diameter
        height: toy.diameter
        anchors.centerIn: parent
        radius: width / 2
        color: Appearance.faded(Appearance.secondary, 0.15)
        relief: 0.6

        activeFocusOnTab: true
        readonly property real value: ((toy.dial.rotation % 360) + 360) % 360
        readonly property real minimumValue: 0
        readonly property real maximumValue: 360
        readonly property real stepSize: 15
        Accessible.role: Accessible.Dial
        Accessible.name: "Fidget dial"
        Accessible.focusable: true
        Accessible.onIncreaseAction: toy.dial.turn(1)
        Accessible.onDecreaseAction: toy.dial.turn(-1)

        PointHandler {
            enabled: toy.onScreen
            onPointChanged: {
                if (active)
                    toy.dial.dragChanged(point.position, Qt.point(knob.width / 2, knob.height / 2));
            }
            onActiveChanged: if (!active) toy.dial.dragEnded()
        }
        Keys.onPressed: event => {
            if (event.key === Qt.Key_Right || event.key === Qt.Key_Up)
                toy.dial.turn(1);
            else if (event.key === Qt.Key_Left || event.key === Qt.Key_Down)
                toy.dial.turn(-1);
            else
                return;
            event.accepted = true;
        }

        FocusRing {
            shown: parent.activeFocus
            innerRadius: parent.radius
        }
        SoftShadow {
            anchors.fill: parent
            cornerRadius: width / 2
            color: Qt.rgba(0, 0, 0, 0.2)
            radius: 2
            offset: 1.5
            hollow: true
        }
        RadialMarks {
            anchors.fill: parent
            color: Appearance.faded(Appearance.secondary, 0.45)
            count: 24
            thickness: 2
            length: 5
            longEvery: 6
            longLength: 10
            offset: toy.diameter / 2 - 8
        }
        RadialMarks {
            anchors.fill: parent
            color: Appearance.accent
            thickness: 4
            length: toy.diameter / 2 - 14
            offset: toy.diameter / 4 + 3
            angle: toy.dial.rotation
        }
        ContinuousRectangle {
            anchors.centerIn: parent
            width: 10
            height: 10
            radius: 5
            color: Appearance.accent
            relief: 0.8
        }
    }
}
