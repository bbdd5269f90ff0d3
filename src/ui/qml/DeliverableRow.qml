import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One document the accountant gets, with whether it is in hand and where it comes from.
RowLayout {
    id: row

    required property var modelData

    spacing: 10
    Accessible.role: Accessible.ListItem
    Accessible.name: modelData.label + ": " + modelData.statusText

    Label {
        Layout.alignment: Qt.AlignTop
        Layout.preferredWidth: 18
        text: row.modelData.inHand ? "✓" : "○"
        color: row.modelData.inHand ? "#2e8540" : row.palette.windowText
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
            text: [row.modelData.source, row.modelData.detail].filter(t => t.length > 0).join(" · ")
            wrapMode: Text.Wrap
            opacity: 0.7
        }
    }

    Label {
        Layout.alignment: Qt.AlignTop
        text: row.modelData.statusText
        opacity: 0.8
    }
}
