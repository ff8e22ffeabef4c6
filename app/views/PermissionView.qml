import QtQuick
import Morvel.Views

// Asks for the access that the keyboard sounds need, or confirms that it is there.
Rectangle {
    id: view

    required property QtObject permission
    required property QtObject actions
    readonly property bool trusted: permission.isTrusted

    width: 420
    height: 400
    color: Appearance.window

    component Header: Row {
        property alias symbol: picture.name
        property alias color: picture.color
        property alias title: label.text
        spacing: 10
        Symbol {
            id: picture
            size: 26
            anchors.verticalCenter: parent.verticalCenter
        }
        Label {
            id: label
            font.pixelSize: 15
            font.weight: Font.DemiBold
            anchors.verticalCenter: parent.verticalCenter
            Accessible.role: Accessible.Heading
        }
    }
    component Explanation: Callout {
        width: parent ? parent.width : 0
    }
    component Note: Row {
        id: note
        property alias symbol: picture.name
        property alias text: label.text
        property color color
        spacing: 8
        Symbol {
            id: picture
            size: 14
            color: note.color
        }
        Label {
            id: label
            width: parent.width - parent.spacing - picture.width
            font.pixelSize: 11
            color: note.color
            wrapMode: Text.Wrap
        }
    }

    Column {
        x: 20
        y: 20
        width: parent.width - 40
        spacing: 16

        CrossFade {
            width: parent.width
            shown: view.trusted
            first: Header {
                symbol: "checkmark.circle.fill"
                color: Appearance.green
                title: "Accessibility access granted"
            }
            second: Header {
                symbol: "lock.circle.fill"
                color: Appearance.orange
                title: "Accessibility access needed"
            }
        }
        CrossFade {
            width: parent.width
            shown: view.trusted
            first: Explanation {
                text: "Morvel can now observe keyboard events system-wide. The Keyboard module is "
                      + "ready to use."
            }
            second: Explanation {
                text: "Morvel plays sound in response to your keyboard anywhere on the system. To "
                      + "see those events outside its own windows, " + view.actions.systemName
                      + " requires Accessibility access.\n\nWithout it, the Keyboard module stays "
                      + "silent. The Fidget Drawer works either way."
            }
        }
        Note {
            width: parent.width
            symbol: "hand.raised.fill"
            color: Appearance.tertiary
            text: "Events are used only to trigger a sound. Nothing is logged, stored, or sent "
                  + "anywhere — Morvel makes no network connections at all."
        }
        Fade {
            objectName: "developmentNote"
            shown: view.actions.unbundled && !view.trusted
            width: parent.width
            height: frame.height
            ContinuousRectangle {
                id: frame
                width: parent.width
                height: developmentNote.height + 20
                radius: 6
                color: Appearance.faded(Appearance.secondary, 0.1)
                Note {
                    id: developmentNote
                    x: 10
                    y: 10
                    width: parent.width - 20
                    symbol: "hammer.fill"
                    color: Appearance.secondary
                    text: view.actions.accessIsThePersons
                          ? "Running unbundled from the build tool: " + view.actions.systemName
                            + " gives this access to the person at the screen, so to every program "
                            + "of theirs, however it was launched; the console log names the exact "
                            + "process."
                          : "Running unbundled from the build tool: " + view.actions.systemName
                            + " attributes this grant to the launching app (the terminal or code "
                            + "editor) rather than to Morvel. Grant access to that app instead; "
                            + "the console log names the exact process."
                }
            }
        }
    }

    Item {
        x: 20
        y: parent.height - 20 - height
        width: parent.width - 40
        height: grant.height

        Fade {
            anchors.fill: parent
            shown: !view.trusted
            Button {
                text: "Open System Settings"
                onClicked: view.actions.openSystemSettings()
            }
            Button {
                id: grant
                anchors.right: parent.right
                text: "Grant Access"
                defaultAction: true
                onClicked: view.permission.requestAccess()
            }
        }
        Fade {
            anchors.fill: parent
            shown: view.trusted
            Button {
                anchors.right: parent.right
                text: "Continue"
                defaultAction: true
                onClicked: view.actions.onContinue()
            }
        }
    }
}
