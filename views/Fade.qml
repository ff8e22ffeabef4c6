import QtQuick
import Morvel.Views

// Comes and goes softly; what is going can no longer be used.
Item {
    property bool shown: true

    enabled: shown
    opacity: shown ? 1 : 0
    visible: opacity > 0
    Behavior on opacity { EaseInOut {} }
}
