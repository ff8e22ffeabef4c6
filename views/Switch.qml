import QtQuick
import QtQuick.Templates as T
import Morvel.Views

// A title with a switch at the far end.
T.Switch {
    id: control

    implicitWidth: label.implicitWidth + 12 + indicator.width
    implicitHeight: 22
    opacity: enabled ? 1 : 0.45
    Accessible.name: text
    Accessible.checkable: true
    Accessible.checked: checked
    // By assistive technology it is the user who toggles.
    Accessible.onToggleAction: {
        toggle()
        toggled()
    }

    indicator: Rectangle {
        x: control.width - width
        y: (control.height - height) / 2
        width: 36
        height: 20
        radius: 10
        color: control.checked ? Appearance.accent : Appearance.faded(Appearance.text, 0.22)
        Behavior on color { ColorAnimation { duration: 120 } }

        Rectangle {
            x: 2 + control.visualPosition * (parent.width - width - 4)
            y: 2
            width: 16
            height: 16
            radius: 8
            color: control.down ? "#f2f2f2" : "white"
            Behavior on x {
                enabled: !control.down
                NumberAnimation { duration: 120; easing.type: Easing.InOutQuad }
            }
        }
        FocusRing { shown: control.visualFocus; innerRadius: 10 }
    }
    contentItem: Label {
        id: label
        rightPadding: 48
        text: control.text
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
        Accessible.ignored: true
    }
}
