import QtQuick
import Morvel.Views

// Caption text whose digits are all equally wide, so that a changing number does not tremble.
Row {
    id: row

    property string text
    property color color: Appearance.secondary
    readonly property real digitWidth: {
        let widest = 0
        for (let digit = 0; digit < 10; ++digit)
            widest = Math.max(widest, metrics.advanceWidth(digit))
        return Math.ceil(widest)
    }

    Accessible.role: Accessible.StaticText
    Accessible.name: text

    FontMetrics {
        id: metrics
        font.pixelSize: 11
    }
    Repeater {
        model: row.text.length
        Caption {
            required property int index
            text: row.text.charAt(index)
            width: /[0-9]/.test(text) ? row.digitWidth : implicitWidth
            wrapMode: Text.NoWrap
            horizontalAlignment: Text.AlignHCenter
            color: row.color
            Accessible.ignored: true
        }
    }
}
