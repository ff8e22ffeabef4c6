import QtQuick
import Morvel.Views

// An explanation; wraps at its width.
Label {
    font.pixelSize: 12
    color: Appearance.secondary
    wrapMode: Text.Wrap
    lineHeight: 1.1
}
