import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One row of a list: a title, a line under it, and the row's text when it has one.
Item {
    id: row

    required property var modelData

    width: ListView.view ? ListView.view.width : implicitWidth
    implicitHeight: column.implicitHeight + 14
    Accessible.role: Accessible.ListItem
    Accessible.name: modelData.title

    ColumnLayout {
        id: column

        anchors.left: parent.left
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        spacing: 2

        Label {
            Layout.fillWidth: true
            text: row.modelData.title
            font.bold: true
            elide: Text.ElideRight
        }

        Label {
            Layout.fillWidth: true
            visible: text.length > 0
            text: row.modelData.subtitle || ""
            elide: Text.ElideRight
            opacity: 0.75
        }

        Label {
            Layout.fillWidth: true
            visible: text.length > 0
            text: row.modelData.body || row.modelData.detail || ""
            wrapMode: Text.Wrap
            maximumLineCount: 6
            elide: Text.ElideRight
        }
    }

    Rectangle {
        anchors.bottom: parent.bottom
        width: parent.width
        height: 1
        color: row.palette.mid
        opacity: 0.5
    }
}
