import QtQuick
import Morvel.Views

// What to do by hand where the desktop has no place for it.
Rectangle {
    id: view

    required property QtObject page

    width: 420
    height: 300
    color: Appearance.window

    Column {
        x: 20
        y: 20
        width: parent.width - 40
        spacing: 12

        Label {
            width: parent.width
            text: view.page.title
            font.pixelSize: 15
            font.weight: Font.DemiBold
            wrapMode: Text.Wrap
            Accessible.role: Accessible.Heading
        }
        Callout {
            width: parent.width
            text: view.page.text
        }
        Rectangle {
            width: parent.width
            height: detail.implicitHeight + 16
            visible: view.page.detail !== ""
            radius: 6
            color: Appearance.textBackground
            border.width: 1
            border.color: detail.activeFocus ? Appearance.accent : Appearance.separator
            TextEdit {
                id: detail
                x: 10
                y: 8
                width: parent.width - 20
                text: view.page.detail
                font.pixelSize: 12
                color: Appearance.text
                selectionColor: Appearance.accent
                selectedTextColor: Appearance.accentText
                textFormat: TextEdit.PlainText
                wrapMode: TextEdit.WrapAnywhere
                readOnly: true
                selectByMouse: true
                activeFocusOnTab: true
                onActiveFocusChanged: if (activeFocus) selectAll()
                Keys.onTabPressed: nextItemInFocusChain(true).forceActiveFocus(Qt.TabFocusReason)
                Keys.onBacktabPressed:
                    nextItemInFocusChain(false).forceActiveFocus(Qt.BacktabFocusReason)
                Accessible.role: Accessible.EditableText
                Accessible.readOnly: true
                Accessible.name: text
            }
        }
    }
    Button {
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        anchors.margins: 20
        text: "OK"
        defaultAction: true
        onClicked: view.page.close()
    }
}
