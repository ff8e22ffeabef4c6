import QtQuick
import Morvel.Views

// The themes in a box, or the word that there are none.
Rectangle {
    id: box

    required property var themes
    signal chosen(int index)

    height: rows.height
    radius: 6
    color: Appearance.textBackground
    border.width: 1
    border.color: Appearance.separator
    Accessible.role: Accessible.List
    Accessible.name: "Themes"

    Column {
        id: rows
        width: parent.width

        Repeater {
            id: repeater
            model: box.themes
            delegate: Column {
                id: entry

                required property int index
                required property var model

                width: rows.width

                Divider {
                    visible: entry.index > 0
                }
                ThemeRow {
                    width: parent.width
                    index: entry.index
                    name: entry.model.name
                    sourceLabel: entry.model.sourceLabel
                    author: entry.model.author
                    coverageSummary: entry.model.coverageSummary
                    active: entry.model.active
                    isFirst: entry.index === 0
                    isLast: entry.index === repeater.count - 1
                    onClicked: box.chosen(index)
                }
            }
        }
        Callout {
            width: parent.width
            visible: repeater.count === 0
            padding: 12
            text: "No themes found."
        }
    }
}
