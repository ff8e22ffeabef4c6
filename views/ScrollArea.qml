import QtQuick
import QtQuick.Templates as T
import Morvel.Views

// A part of a window that scrolls up and down: by wheel, by touch, by keys, and by itself to what
// the keyboard has reached. A mouse does not drag it.
Flickable {
    id: area

    readonly property Item reached: Window.activeFocusItem

    interactive: false
    boundsBehavior: Flickable.StopAtBounds
    clip: true
    contentWidth: width
    T.ScrollBar.vertical: ScrollBar {}

    function scrollTo(y) {
        contentY = Math.max(0, Math.min(y, contentHeight - height))
    }
    function reveal(item) {
        const margin = 12
        const top = item.mapToItem(contentItem, 0, 0).y
        if (top - margin < contentY)
            scrollTo(top - margin)
        else if (top + item.height + margin > contentY + height)
            scrollTo(top + item.height + margin - height)
    }
    function contains(item) {
        for (let ancestor = item; ancestor; ancestor = ancestor.parent)
            if (ancestor === contentItem)
                return true
        return false
    }

    onReachedChanged: if (reached && contains(reached)) reveal(reached)
    onContentHeightChanged: scrollTo(contentY)

    Keys.onPressed: event => {
        switch (event.key) {
        case Qt.Key_Up: scrollTo(contentY - 40); break
        case Qt.Key_Down: scrollTo(contentY + 40); break
        case Qt.Key_PageUp: scrollTo(contentY - height + 40); break
        case Qt.Key_PageDown: scrollTo(contentY + height - 40); break
        case Qt.Key_Home: scrollTo(0); break
        case Qt.Key_End: scrollTo(contentHeight); break
        default: return
        }
        event.accepted = true
    }
    WheelHandler {
        acceptedDevices: PointerDevice.Mouse | PointerDevice.TouchPad
        onWheel: event => area.scrollTo(
            area.contentY - (event.pixelDelta.y !== 0 ? event.pixelDelta.y
                                                      : event.angleDelta.y / 120 * 48))
    }
    DragHandler {
        property real start: 0
        target: null
        acceptedDevices: PointerDevice.TouchScreen
        xAxis.enabled: false
        onActiveChanged: if (active) start = area.contentY
        onTranslationChanged: if (active) area.scrollTo(start - translation.y)
    }
}
