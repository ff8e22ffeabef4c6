import QtQuick
import Morvel.Views

// A hairline between two parts, as wide as what it stands in.
Rectangle {
    width: parent ? parent.width : 0
    height: 1
    color: Appearance.separator
    Accessible.role: Accessible.Separator
}
