import QtQuick
import Morvel.Views

// Every setting there is.
Rectangle {
    id: view

    required property QtObject settings
    required property QtObject themes
    required property QtObject permission
    required property QtObject model
    readonly property bool trusted: permission.isTrusted

    width: 460
    height: 620
    color: Appearance.window

    ScrollArea {
        anchors.fill: parent
        contentHeight: sections.height + 40
        focus: true

        Column {
            id: sections
            x: 20
            y: 20
            width: view.width - 40
            spacing: 14

            SettingsSection {
                title: "Accessibility"

                Item {
                    width: parent.width
                    height: systemSettings.height
                    Rectangle {
                        id: dot
                        objectName: "accessDot"
                        width: 9
                        height: 9
                        radius: 4.5
                        anchors.verticalCenter: parent.verticalCenter
                        color: view.trusted ? Appearance.green : Appearance.orange
                    }
                    Label {
                        id: status
                        anchors.left: dot.right
                        anchors.leftMargin: 8
                        anchors.verticalCenter: parent.verticalCenter
                        text: view.trusted ? "Access granted" : "Access required"
                        font.weight: Font.Medium
                        Accessible.ignored: true
                    }
                    // Stands for the whole row: it is read as one element.
                    Button {
                        id: systemSettings
                        anchors.right: parent.right
                        text: "Open System Settings…"
                        onClicked: view.model.openSystemSettings()
                        Accessible.name: status.text + ", " + text
                    }
                }
                Callout {
                    width: parent.width
                    text: view.trusted
                        ? "Keyboard sounds are active."
                        : "Morvel cannot hear keys until Accessibility access is granted. The "
                          + "fidget drawer still works."
                }
            }
            Divider {}
            SettingsSection {
                title: "Modules"

                Repeater {
                    model: view.model.modules
                    delegate: ModuleRow {
                        objectName: "moduleRow"
                        required property QtObject modelData
                        width: sections.width
                        module: modelData
                    }
                }
                Caption {
                    objectName: "soundOutput"
                    width: parent.width
                    text: view.model.soundOutput
                    Accessible.name: "Sound output: " + text
                }
            }
            Divider {}
            SettingsSection {
                title: "Theme"

                Callout {
                    width: parent.width
                    text: "One theme applies to every module. Cohesion between the keyboard and "
                          + "the toys is the point; use the volume sliders above to balance them."
                }
                ThemeList {
                    width: parent.width
                    themes: view.themes
                    onChosen: index => view.model.activateTheme(index)
                }
                Row {
                    width: parent.width
                    spacing: 6
                    visible: view.model.lastError !== ""
                    Symbol {
                        id: warning
                        name: "exclamationmark.triangle.fill"
                        size: 16
                        color: Appearance.orange
                    }
                    Callout {
                        width: parent.width - warning.width - parent.spacing
                        text: view.model.lastError
                        color: Appearance.orange
                        Accessible.role: Accessible.AlertMessage
                    }
                }
                Row {
                    spacing: 8
                    Button {
                        text: "Rescan"
                        onClicked: view.model.rescan()
                    }
                    Button {
                        text: "Reveal Themes Folder"
                        onClicked: view.model.revealThemesFolder()
                    }
                }
                Caption {
                    width: parent.width
                    text: "Drop a theme folder into the Themes folder and press Rescan — no "
                          + "reinstall needed."
                }
            }
            Divider {}
            SettingsSection {
                title: "General"

                Switch {
                    width: parent.width
                    text: "Launch at login"
                    enabled: view.model.canLaunchAtLogin
                    checked: view.settings.launchAtLogin
                    onToggled: view.settings.launchAtLogin = checked
                }
                Caption {
                    width: parent.width
                    text: view.model.launchAtLoginStatus
                }
                Button {
                    text: "Open Login Items…"
                    visible: view.model.loginItemNeedsUser
                    onClicked: view.model.openLoginItems()
                }
                Caption {
                    objectName: "shortcutStatus"
                    width: parent.width
                    visible: text !== ""
                    text: view.model.shortcutStatus
                }
            }
        }
    }
}
