import QtQuick
import Morvel.Views

// Two pictures of one place, the first while `shown`; a change fades from one to the other.
Item {
    id: place

    required property bool shown
    required property Item first
    required property Item second

    implicitHeight: (shown ? first : second).implicitHeight
    Behavior on implicitHeight {
        enabled: place.Window.window !== null && place.Window.window.visible
        EaseInOut {}
    }

    Fade {
        width: parent.width
        shown: place.shown
        data: [place.first]
    }
    Fade {
        width: parent.width
        shown: !place.shown
        data: [place.second]
    }
}
