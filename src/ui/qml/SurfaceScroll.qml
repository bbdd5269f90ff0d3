import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A surface of the Tallo window that scrolls: its parts in a column the width of the view, with
// room kept for the scroll bar so that text wraps the same with and without it.
Flickable {
    id: flick

    property string name: "Surface"
    property alias spacing: column.spacing
    default property alias content: column.data

    contentHeight: column.implicitHeight
    clip: true
    boundsBehavior: Flickable.StopAtBounds
    ScrollBar.vertical: ScrollBar {
        Accessible.name: flick.name + " scroll bar"
    }

    ColumnLayout {
        id: column

        width: flick.width - 16
    }
}
