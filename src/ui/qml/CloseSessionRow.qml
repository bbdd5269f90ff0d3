import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One live session: what it works on, its short name, the limit it hit, and its controls.
Item {
    id: row

    required property var modelData
    required property QtObject sessions

    implicitHeight: columns.implicitHeight + 14
    Accessible.role: Accessible.ListItem
    Accessible.name: modelData.title + " " + modelData.label

    RowLayout {
        id: columns

        anchors.left: parent.left
        anchors.right: parent.right
        anchors.verticalCenter: parent.verticalCenter
        spacing: 10

        // The slot stays when the session waits at a limit, so every title starts in one column.
        Item {
            Layout.preferredWidth: 22
            Layout.preferredHeight: 22

            BusyIndicator {
                anchors.fill: parent
                running: row.modelData.limit.length === 0
                visible: running
                Accessible.name: "Working"
            }
        }

        ColumnLayout {
            Layout.fillWidth: true
            spacing: 1

            Label {
                Layout.fillWidth: true
                text: row.modelData.title + " · " + row.modelData.label
                font.bold: true
                elide: Text.ElideRight
            }

            Label {
                Layout.fillWidth: true
                visible: text.length > 0
                text: row.modelData.limit
                wrapMode: Text.Wrap
                opacity: 0.8
            }
        }

        ShellButton {
            visible: row.sessions.showAttach
            text: "Attach"
            Accessible.name: "Attach to " + row.modelData.label
            ToolTip.visible: hovered
            ToolTip.text: row.sessions.attachHelp
            onClicked: row.sessions.attach(row.modelData.name)
        }

        ShellButton {
            text: "Stop"
            Accessible.name: "Stop " + row.modelData.label
            ToolTip.visible: hovered
            ToolTip.text: row.sessions.stopHelp
            onClicked: row.sessions.stop(row.modelData.name)
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
