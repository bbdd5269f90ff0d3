import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One live agent session, with the limit it hit and a way to stop it.
RowLayout {
    id: row

    required property var modelData
    required property QtObject sessions

    width: ListView.view ? ListView.view.width : implicitWidth
    spacing: 12

    ItemRow {
        Layout.fillWidth: true
        modelData: row.modelData
    }

    ShellButton {
        text: "Stop"
        Accessible.name: "Stop " + row.modelData.title
        onClicked: row.sessions.stopSession(row.modelData.title)
    }
}
