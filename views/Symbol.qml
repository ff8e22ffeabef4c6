import QtQuick
import Morvel.Views

// One of Morvel's symbols, `size` points high and wide.
SymbolShape {
    property real size: 16

    width: size
    height: size
    color: Appearance.text
}
