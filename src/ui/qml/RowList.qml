import QtQuick
import QtQuick.Controls

// A screen's rows, or its empty state when it has none.
Item {
    id: list

    required property QtObject screenModel
    property string name
    property Component delegate: ItemRow {}
    property string emptyActionText
    property int spacing: 4

    signal emptyActionTriggered()

    ListView {
        anchors.fill: parent
        visible: !list.screenModel.empty
        model: list.screenModel.rows
        delegate: list.delegate
        clip: true
        spacing: list.spacing
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.vertical: ScrollBar {
            Accessible.name: list.name + " scroll bar"
        }
        Accessible.role: Accessible.List
        Accessible.name: list.name
    }

    EmptyState {
        anchors.fill: parent
        visible: list.screenModel.empty
        title: list.screenModel.emptyTitle
        text: list.screenModel.emptyText
        actionText: list.emptyActionText
        onActionTriggered: list.emptyActionTriggered()
    }
}
