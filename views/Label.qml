import QtQuick
import Morvel.Views

// Text of the body size, taken as it is: no mark-up in it is followed.
Text {
    font.pixelSize: 13
    color: Appearance.text
    textFormat: Text.PlainText
    Accessible.role: Accessible.StaticText
    Accessible.name: text
}
