import QtQuick
import Morvel.Views

// Small print; wraps at its width.
Label {
    font.pixelSize: 11
    color: Appearance.secondary
    wrapMode: Text.Wrap
}
