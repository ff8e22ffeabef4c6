import QtQuick
import QtQuick.Templates as T
import Morvel.Views

// A push button. One in a window may be its default action: Return then stands for it wherever the
// keyboard is.
T.Button {
    id: control

    property bool defaultAction: false
    readonly property color face: {
        if (defaultAction)
            return down ? Qt.darker(Appearance.accent, 1.18) : Appearance.accent
        if (Appearance.dark)
            return Appearance.faded("white", down ? 0.26 : 0.16)
        return down ? "#e4e4e6" : "white"
    }

    implicitWidth: Math.max(64, label.implicitWidth + 28)
    implicitHeight: 26
    opacity: enabled ? 1 : 0.45
    Accessible.name: text
    Accessible.onPressAction: clicked()
    Accessible.defaultButton: defaultAction

    Shortcut {
        sequences: ["Return", "Enter"]
        enabled: control.defaultAction && control.enabled && control.visible
        onActivated: control.clicked()
    }

    background: Rectangle {
        radius: 6
        color: control.face
        border.width: control.defaultAction || Appearance.dark ? 0 : 1
        border.color: Appearance.faded(Appearance.text, 0.18)
        FocusRing { shown: control.visualFocus }
    }
    contentItem: Label {
        id: label
        text: control.text
        color: control.defaultAction ? Appearance.accentText : Appearance.text
        horizontalAlignment: Text.AlignHCenter
        verticalAlignment: Text.AlignVCenter
        elide: Text.ElideRight
        Accessible.ignored: true
    }
}
