import QtQuick
import QtQuick.Window
import Morvel.Fidget
import Morvel.Views

ToyTile {
    id: toy

    required property ClickyButtonModel button
    property real size: 76
    readonly property bool onScreen: Window.visibility !== Window.Hidden
    // A button that is out of sight is not held any more.
    property bool keyHeld: false

    function releaseKey() {
        if (keyHeld) {
            keyHeld = false;
            button.dragEnded();
        }
    }

    title: "Button"
    contentWidth: size
    contentHeight: size
    onOnScreenChanged: if (!onScreen) toy.button.dragEnded()

    SpringValue {
        id: press

        target: toy.button.isPressed ? 1 : 0
        response: 0.16
        dampingFraction: 0.55
    }
    ContinuousRectangle {
        id: ring

        width: toy.size
        height: toy.size
        anchors.centerIn: parent
        radius: width / 2
        color: Appearance.faded(Appearance.secondary, 0.22)
        relief: -1

        activeFocusOnTab: true
        onActiveFocusChanged: if (!activeFocus) toy.releaseKey()
        Accessible.role: Accessible.Button
        Accessible.name: "Clicky button"
        Accessible.focusable: true
        Accessible.pressed: toy.button.isPressed
        Accessible.onPressAction: {
            toy.button.dragChanged();
            toy.button.dragEnded();
        }

        PointHandler {
            enabled: toy.onScreen
            onPointChanged: if (active) toy.button.dragChanged()
            onActiveChanged: if (!active) toy.button.dragEnded()
        }
        Keys.onPressed: event => {
            if (event.key !== Qt.Key_Space && event.key !== Qt.Key_Return && event.key !== Qt.Key_Enter)
                return;
            event.accepted = true;
            if (!event.isAutoRepeat) {
                toy.keyHeld = true;
                toy.button.dragChanged();
            }
        }
        Keys.onReleased: event => {
            if (event.key !== Qt.Key_Space && event.key !== Qt.Key_Return && event.key !== Qt.Key_Enter)
                return;
            event.accepted = true;
            if (!event.isAutoRepeat)
                toy.releaseKey();
        }

        FocusRing {
            shown: parent.activeFocus
            innerRadius: parent.radius
        }
        Item {
            id: face

            readonly property real scaling: 1 - 0.12 * press.value
            readonly property real lift: Math.max(0, 2 * (1 - press.value))

            anchors { centerIn: parent; alignWhenCentered: false }
            width: (toy.size - 14) * scaling
            height: width

            SoftShadow {
                anchors.fill: parent
                cornerRadius: width / 2
                color: Qt.rgba(0, 0, 0, 0.33)
                radius: face.lift
                offset: face.lift
            }
            ContinuousRectangle {
                anchors.fill: parent
                radius: width / 2
                color: Appearance.faded(Appearance.accent, 1 - 0.1 * Math.min(1, Math.max(0, press.value)))
                relief: 0.9
                gloss: 0.4
            }
        }
        Symbol {
            anchors { centerIn: parent; alignWhenCentered: false }
            name: "hand.tap.fill"
            size: 1.2 * 20 * (1 - 0.1 * press.value) // as tall as a line of text
            color: "white"
        }
    }
}
