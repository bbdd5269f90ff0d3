import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One command, under its group's header when it is the group's first.
ColumnLayout {
    id: row

    required property var modelData
    required property int index

    signal activated()

    width: ListView.view ? ListView.view.width : implicitWidth
    spacing: 0

    Label {
        Layout.fillWidth: true
        Layout.topMargin: row.index === 0 ? 0 : 8
        Layout.leftMargin: 8
        Layout.bottomMargin: 2
        visible: row.modelData.header !== undefined
        text: row.modelData.header || ""
        font.bold: true
        font.pointSize: Qt.application.font.pointSize * 0.85
        opacity: 0.7
    }

    ItemDelegate {
        id: entry

        Layout.fillWidth: true
        highlighted: row.ListView.isCurrentItem
        Accessible.name: row.modelData.title
        onClicked: row.activated()

        contentItem: ColumnLayout {
            spacing: 2

            Label {
                Layout.fillWidth: true
                text: row.modelData.title
                elide: Text.ElideRight
                color: entry.highlighted ? row.palette.highlightedText : row.palette.text
            }

            Label {
                Layout.fillWidth: true
                visible: text.length > 0
                text: row.modelData.subtitle
                elide: Text.ElideRight
                opacity: 0.75
                font.pointSize: Qt.application.font.pointSize * 0.9
                color: entry.highlighted ? row.palette.highlightedText : row.palette.text
            }
        }
    }
}
