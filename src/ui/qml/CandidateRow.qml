import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One thing the run put forward: what it is, why the run thinks it belongs, and the two choices.
Item {
    id: row

    required property var modelData
    required property QtObject close

    implicitHeight: columns.implicitHeight + 14
    Accessible.role: Accessible.ListItem
    Accessible.name: modelData.name

    RowLayout {
        id: columns

        anchors.left: parent.left
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        spacing: 12

        Label {
            Layout.preferredWidth: 90
            Layout.alignment: Qt.AlignTop
            text: row.modelData.date
            opacity: 0.8
        }

        ColumnLayout {
            Layout.fillWidth: true
            spacing: 2

            Label {
                Layout.fillWidth: true
                text: row.modelData.name
                font.bold: true
                elide: Text.ElideRight
            }

            Label {
                Layout.fillWidth: true
                visible: text.length > 0
                text: row.modelData.why
                wrapMode: Text.Wrap
            }

            Label {
                Layout.fillWidth: true
                text: [row.modelData.source, row.modelData.evidence].filter(t => t.length > 0)
                      .join(" · ")
                opacity: 0.7
                elide: Text.ElideRight
            }
        }

        Label {
            Layout.alignment: Qt.AlignTop
            Layout.minimumWidth: 90
            horizontalAlignment: Text.AlignRight
            text: row.modelData.amount
        }

        ColumnLayout {
            // A fixed column, so the amounts and choices line up from row to row.
            Layout.alignment: Qt.AlignTop
            Layout.fillWidth: false
            Layout.preferredWidth: 160
            spacing: 4

            ShellButton {
                Layout.fillWidth: true
                text: "Add to the month"
                enabled: !row.close.busy
                Accessible.name: "Add " + row.modelData.name + " to the month"
                onClicked: row.close.accept(row.modelData.key)
            }

            ShellButton {
                Layout.fillWidth: true
                text: "Leave out"
                enabled: !row.close.busy
                Accessible.name: "Leave out " + row.modelData.name
                onClicked: row.close.exclude(row.modelData.key)
            }
        }
    }

    Rectangle {
        anchors.bottom: parent.bottom
        width: parent.width
        height: 1
        color: row.palette.mid
        opacity: 0.4
    }
}
