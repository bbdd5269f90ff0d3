import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One command, under its group's header when it is the group's first.
ItemDelegate {
    id: row

    required property var modelData
    required property int index

    width: ListView.view ? ListView.view.width : implicitWidth
    highlighted: ListView.isCurrentItem
    Accessible.name: modelData.title

    contentItem: ColumnLayout {
        spacing: 2

        Label {
            Layout.fillWidth: true
            Layout.bottomMargin: 4
            visible: row.modelData.header !== undefined
            text: row.modelData.header || ""
            font.bold: true
            font.pointSize: Qt.application.font.pointSize * 0.85
            opacity: 0.7
        }

        Label {
            Layout.fillWidth: true
            text: row.modelData.title
            elide: Text.ElideRight
        }

        Label {
            Layout.fillWidth: true
            visible: text.length > 0
            text: row.modelData.subtitle
            elide: Text.ElideRight
            opacity: 0.7
            font.pointSize: Qt.application.font.pointSize * 0.9
        }
    }
}
