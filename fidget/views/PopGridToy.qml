import QtQuick
import Morvel.Fidget
import Morvel.Views

ToyTile {
    id: toy

    required property PopGridModel bubbles
    property real bubbleSize: 26

    title: "Pop"
    contentWidth: grid.width
    contentHeight: grid.height + 8 + reset.height

    Item {
        width: toy.contentWidth
        height: toy.contentHeight
        anchors.centerIn: parent

        Item {
            id: grid

            readonly property real step: toy.bubbleSize + 6
            property int current: 0 // of the keyboard

            function move(columns, rows) {
                const column = current % toy.bubbles.columns + columns;
                const row = Math.floor(current / toy.bubbles.columns) + rows;
                if (column >= 0 && column < toy.bubbles.columns && row >= 0 && row < toy.bubbles.rows)
                    current = row * toy.bubbles.columns + column;
            }

            width: toy.bubbles.columns * step - 6
            height: toy.bubbles.rows * step - 6
            activeFocusOnTab: true
            Accessible.role: Accessible.Grouping
            Accessible.name: toy.title
            Accessible.focusable: true

            Keys.onPressed: event => {
                event.accepted = true;
                if (event.key === Qt.Key_Left)
                    move(-1, 0);
                else if (event.key === Qt.Key_Right)
                    move(1, 0);
                else if (event.key === Qt.Key_Up)
                    move(0, -1);
                else if (event.key === Qt.Key_Down)
                    move(0, 1);
                else if (event.key === Qt.Key_Space || event.key === Qt.Key_Return || event.key === Qt.Key_Enter)
                    toy.bubbles.tap(current);
                else
                    event.accepted = false;
            }

            Repeater {
                model: toy.bubbles.rows * toy.bubbles.columns

                Item {
                    id: bubble

                    required property int index
                    readonly property bool popped: toy.bubbles.popped[index]

                    x: index % toy.bubbles.columns * grid.step
                    y: Math.floor(index / toy.bubbles.columns) * grid.step
                    width: toy.bubbleSize
                    height: toy.bubbleSize
                    Accessible.role: Accessible.Button
                    Accessible.name: popped ? "Popped bubble" : "Bubble"
                    Accessible.onPressAction: toy.bubbles.tap(index)

                    TapHandler {
                        gesturePolicy: TapHandler.ReleaseWithinBounds
                        longPressThreshold: 1e5
                        onTapped: toy.bubbles.tap(bubble.index)
                    }
                    SpringValue {
                        id: air

                        target: bubble.popped ? 0 : 1
                        response: 0.22
                        dampingFraction: 0.5
                    }
                    FocusRing {
                        innerRadius: toy.bubbleSize / 2
                        shown: grid.activeFocus && grid.current === bubble.index
                    }
                    ContinuousRectangle {
                        readonly property real fill: Math.min(1, Math.max(0, air.value))

                        anchors { centerIn: parent; alignWhenCentered: false }
                        width: toy.bubbleSize * (0.72 + 0.28 * air.value)
                        height: width
                        radius: width / 2
                        color: Appearance.blended(Appearance.faded(Appearance.secondary, 0.18),
                                                  Appearance.faded(Appearance.accent, 0.85), fill)
                        borderWidth: 1
                        borderColor: Qt.rgba(1, 1, 1, 0.35 * fill)
                        relief: 2 * fill - 1
                        gloss: fill
                    }
                }
            }
        }
        Text {
            id: reset

            anchors { bottom: parent.bottom; horizontalCenter: parent.horizontalCenter }
            height: Math.ceil(implicitHeight)
            text: "Reset"
            color: Appearance.text
            font.pixelSize: 11
            enabled: toy.bubbles.canReset
            opacity: 0.35 + 0.65 * ready.value

            activeFocusOnTab: true
            Accessible.role: Accessible.Button
            Accessible.name: text
            Accessible.focusable: true
            Accessible.onPressAction: toy.bubbles.reset()

            // What a reset moves besides the bubbles, which have their own spring.
            SpringValue {
                id: ready

                target: toy.bubbles.canReset ? 1 : 0
                response: 0.3
                dampingFraction: 0.65
            }
            ContinuousRectangle {
                anchors { fill: parent; leftMargin: -8; rightMargin: -8; topMargin: -2; bottomMargin: -2 }
                radius: 5
                visible: reset.enabled && hover.hovered
                color: Appearance.faded(Appearance.text, press.pressed ? 0.16 : 0.08)
            }
            HoverHandler {
                id: hover

                margin: 6
            }
            TapHandler {
                id: press

                margin: 6
                gesturePolicy: TapHandler.ReleaseWithinBounds
                longPressThreshold: 1e5
                onTapped: toy.bubbles.reset()
            }
            Keys.onPressed: event => {
                if (event.key !== Qt.Key_Space && event.key !== Qt.Key_Return && event.key !== Qt.Key_Enter)
                    return;
                event.accepted = true;
                if (!event.isAutoRepeat)
                    toy.bubbles.reset();
            }
            FocusRing {
                anchors { leftMargin: -8; rightMargin: -8 }
                shown: reset.activeFocus
                innerRadius: 4
            }
        }
    }
}
