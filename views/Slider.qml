import QtQuick
import QtQuick.Templates as T
import Morvel.Views

// A value between 0 and 1, by mouse, keyboard or, where the keyboard is, by wheel.
T.Slider {
    id: control

    property real current: 0 // what it shows, whatever it is
    signal chosen(real value) // by the user, whichever way

    function shown(wanted) {
        return isNaN(wanted) ? from : Math.max(from, Math.min(wanted, to))
    }
    value: shown(current)
    onValueChanged: if (value !== shown(current)) chosen(value)

    implicitWidth: 120
    implicitHeight: 22
    stepSize: 0.05
    // A wheel that only passes over it scrolls what it stands in.
    wheelEnabled: activeFocus

    // Not by assignment, which would end what `value` is bound to.
    function step(distance) {
        const usual = stepSize
        stepSize = Math.abs(distance)
        if (distance > 0)
            increase()
        else
            decrease()
        stepSize = usual
    }
    Keys.onPressed: event => {
        switch (event.key) {
        case Qt.Key_Up: step(stepSize); break
        case Qt.Key_Down: step(-stepSize); break
        case Qt.Key_PageUp: step(0.2); break
        case Qt.Key_PageDown: step(-0.2); break
        case Qt.Key_Home: step(-1); break
        case Qt.Key_End: step(1); break
        default: return
        }
        event.accepted = true
    }

    // In two parts: nothing of it shines through the handle of a faded slider.
    background: Item {
        Rectangle {
            x: 2
            y: (parent.height - height) / 2
            width: control.handle.x
            height: 4
            radius: 2
            color: Appearance.accent
        }
        Rectangle {
            x: control.handle.x + control.handle.width - 2
            y: (parent.height - height) / 2
            width: Math.max(0, parent.width - 2 - x)
            height: 4
            radius: 2
            color: Appearance.faded(Appearance.text, 0.18)
        }
    }
    handle: Rectangle {
        x: control.visualPosition * (control.width - width)
        y: (control.height - height) / 2
        width: 18
        height: 18
        radius: 9
        color: control.pressed ? "#ececec" : "white"
        border.width: 1
        border.color: Appearance.dark ? "transparent" : Qt.rgba(0, 0, 0, 0.2)
        FocusRing { shown: control.visualFocus; innerRadius: 9 }
    }
}
