import QtQuick
import QtQuick.Window
import Morvel.Views

// One of Morvel's symbols, `size` points high and wide.
Image {
    property string name
    property real size: 16
    property color color: Appearance.text

    width: size
    height: size
    sourceSize: Qt.size(Math.ceil(size * Screen.devicePixelRatio),
                        Math.ceil(size * Screen.devicePixelRatio))
    source: name === "" ? "" : "image://symbol/" + name + "/" + color.toString().substring(1)
}
