import QtQuick
import QtQuick.Templates as T
import Morvel.Views

// One theme to choose.
T.Button {
    id: row

    required property int index
    required property string name
    required property string sourceLabel
    required property string author // empty where the theme names none
    required property string coverageSummary
    required property bool active
    property bool isFirst
    property bool isLast

    implicitHeight: lines.height + 18
    Accessible.name: [name, sourceLabel, author === "" ? "" : "by " + author, coverageSummary]
        .filter(part => part !== "").join(", ")
    Accessible.onPressAction: clicked()
    Accessible.selectable: true
    Accessible.selected: active

    Keys.onUpPressed: event => moveTo(event, false)
    Keys.onDownPressed: event => moveTo(event, true)
    function moveTo(event, forward) {
        event.accepted = forward ? !isLast : !isFirst
        if (event.accepted)
            nextItemInFocusChain(forward).forceActiveFocus(Qt.TabFocusReason)
    }

    background: Item {
        // The first and the last row have the box's corners: what lies outside them is cut off.
        Item {
            anchors.fill: parent
            clip: true
            Rectangle {
                x: 1
                y: row.isFirst ? 1 : -6
                width: parent.width - 2
                height: parent.height - y + (row.isLast ? -1 : 6)
                radius: row.isFirst || row.isLast ? 5 : 0
                color: row.active ? Appearance.faded(Appearance.accent, 0.1)
                     : row.down ? Appearance.faded(Appearance.text, 0.08)
                     : row.hovered ? Appearance.faded(Appearance.text, 0.03)
                     : "transparent"
            }
        }
        FocusRing {
            anchors.margins: 2
            innerRadius: 2
            borderWidth: 2
            shown: row.visualFocus
        }
    }
    contentItem: Item {
        Symbol {
            id: mark
            x: 10
            anchors.verticalCenter: parent.verticalCenter
            size: 18
            name: row.active ? "largecircle.fill.circle" : "circle"
            color: row.active ? Appearance.accent : Appearance.secondary
        }
        Column {
            id: lines
            anchors.left: mark.right
            anchors.right: parent.right
            anchors.leftMargin: 10
            anchors.rightMargin: 10
            anchors.verticalCenter: parent.verticalCenter
            spacing: 3

            Item {
                width: parent.width
                height: title.height
                Label {
                    id: title
                    width: Math.min(implicitWidth, parent.width - tag.width - 8)
                    text: row.name
                    font.weight: row.active ? Font.DemiBold : Font.Normal
                    elide: Text.ElideRight
                    maximumLineCount: 1
                    Accessible.ignored: true
                }
                Rectangle {
                    id: tag
                    anchors.left: title.right
                    anchors.leftMargin: 8
                    anchors.verticalCenter: parent.verticalCenter
                    width: tagText.implicitWidth + 10
                    height: tagText.implicitHeight + 2
                    radius: height / 2
                    color: Appearance.faded(Appearance.secondary, 0.15)
                    Label {
                        id: tagText
                        x: 5
                        y: 1
                        text: row.sourceLabel
                        font.pixelSize: 10
                        color: Appearance.secondary
                        Accessible.ignored: true
                    }
                }
            }
            Caption {
                width: parent.width
                visible: row.author !== ""
                text: "by " + row.author
                elide: Text.ElideRight
                wrapMode: Text.NoWrap
                maximumLineCount: 1
                Accessible.ignored: true
            }
            Caption {
                width: parent.width
                text: row.coverageSummary
                Accessible.ignored: true
            }
        }
    }
}
