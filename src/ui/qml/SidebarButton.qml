import QtQuick
import QtQuick.Controls

// One section of the sidebar.
ItemDelegate {
    id: button

    required property var modelData
    required property int index

    width: ListView.view ? ListView.view.width : implicitWidth
    leftPadding: 16
    text: modelData.label
    highlighted: ListView.isCurrentItem
    Accessible.name: modelData.label

    background: Rectangle {
        color: button.highlighted ? button.palette.highlight : button.palette.mid
        opacity: button.highlighted ? 1 : (button.down ? 0.6 : (button.hovered ? 0.3 : 0))
    }
}
