import QtQuick
import QtQuick.Controls

// One section of the sidebar.
ItemDelegate {
    id: button

    required property var modelData
    required property int index
    required property QtObject shell

    width: ListView.view ? ListView.view.width : implicitWidth
    leftPadding: 16
    text: modelData.label
    highlighted: ListView.isCurrentItem
    Accessible.name: modelData.label
    onClicked: shell.selection = modelData.word

    background: Rectangle {
        color: button.highlighted ? button.palette.highlight : button.palette.mid
        opacity: button.highlighted ? 1 : (button.down ? 0.6 : (button.hovered ? 0.3 : 0))
    }
}
