import QtQuick
import Morvel.Views

// A titled part of the settings.
Column {
    property alias title: headline.text

    width: parent ? parent.width : 0
    spacing: 10

    Headline {
        id: headline
    }
}
