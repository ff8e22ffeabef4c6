import QtQuick
import QtQuick.Window

// One of Morvel's symbols, `size` points high and wide.
Image {
    property string name
    property real size: 16
    property color color: Appearance.text

    width: size
    height: size
    sourceSize.width: Math.ceil(size * Screen.devicePixelRatio)
    sourceSize.height: sourceSize.width
    source: name === "" ? "" : "image://symbol/" + name + "/" + encodeURIComponent(color.toString())
}
