import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One line of the ledger: its day, who it was with and what backs it, and its amount.
Item {
    id: line

    required property var modelData

    implicitHeight: columns.implicitHeight + 10
    Accessible.role: Accessible.ListItem
    Accessible.name: [modelData.date, modelData.name, modelData.amount].filter(t => t.length > 0)
                     .join(", ")

    RowLayout {
        id: columns

        anchors.left: parent.left
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        spacing: 12

        Label {
            Layout.preferredWidth: 90
            Layout.alignment: Qt.AlignTop
            text: line.modelData.date
            opacity: 0.8
        }

        ColumnLayout {
            Layout.fillWidth: true
            spacing: 1

            Label {
                Layout.fillWidth: true
                text: line.modelData.name
                elide: Text.ElideRight
            }

            Label {
                Layout.fillWidth: true
                text: [line.modelData.category, line.modelData.evidence].filter(t => t.length > 0)
                      .join(" · ")
                color: line.modelData.unbacked ? "#c0392b" : line.palette.windowText
                opacity: line.modelData.unbacked ? 1 : 0.7
                elide: Text.ElideRight
            }
        }

        Label {
            Layout.alignment: Qt.AlignTop
            Layout.minimumWidth: 110
            horizontalAlignment: Text.AlignRight
            text: line.modelData.amount
        }
    }

    Rectangle {
        anchors.bottom: parent.bottom
        width: parent.width
        height: 1
        color: line.palette.mid
        opacity: 0.4
    }
}
