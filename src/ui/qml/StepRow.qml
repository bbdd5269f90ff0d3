import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One step of a run, with its state in words and the run's detail under it.
RowLayout {
    id: row

    required property var modelData

    spacing: 10
    Accessible.role: Accessible.ListItem
    Accessible.name: modelData.label + ": " + modelData.stateText

    Label {
        Layout.alignment: Qt.AlignTop
        Layout.preferredWidth: 18
        text: row.modelData.stateText === "Done" ? "✓"
              : row.modelData.stateText === "Working on it" ? "●" : "○"
        color: row.modelData.stateText === "Done" ? "#2e8540" : row.palette.windowText
    }

    ColumnLayout {
        Layout.fillWidth: true
        spacing: 1

        Label {
            Layout.fillWidth: true
            text: row.modelData.label
            wrapMode: Text.Wrap
        }

        Label {
            Layout.fillWidth: true
            visible: text.length > 0
            text: row.modelData.detail
            wrapMode: Text.Wrap
            opacity: 0.7
        }
    }

    Label {
        Layout.alignment: Qt.AlignTop
        text: row.modelData.stateText
        opacity: 0.8
    }
}
