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
}
