import QtQuick
import Morvel.Views

// The title of a section.
Label {
    font.weight: Font.DemiBold
    Accessible.role: Accessible.Heading
}
