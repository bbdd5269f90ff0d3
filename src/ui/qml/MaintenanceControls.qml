import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The long maintenance jobs, their progress and what they reported last.
ColumnLayout {
    id: maintenance

    required property QtObject processing

    spacing: 6

    Flow {
        Layout.fillWidth: true
        spacing: 6

        ShellButton {
            text: "Retry failed audio"
            Accessible.name: text
            onClicked: maintenance.processing.retryFailed("audio")
        }

        ShellButton {
            text: "Retry failed captions"
            Accessible.name: text
            onClicked: maintenance.processing.retryFailed("visual")
        }

        ShellButton {
            text: "Rebuild index"
            enabled: !maintenance.processing.indexRebuildBusy
            Accessible.name: text
            onClicked: maintenance.processing.rebuildIndex()
        }

        ShellButton {
            text: "Re-scan photos"
            Accessible.name: text
            onClicked: maintenance.processing.rescanPhotos()
        }
    }

    Label {
        Layout.fillWidth: true
        visible: text.length > 0
        text: maintenance.processing.indexRebuildStatus
        wrapMode: Text.Wrap
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    ProgressBar {
        Layout.fillWidth: true
        visible: maintenance.processing.indexRebuildProgress >= 0
        value: Math.max(0, maintenance.processing.indexRebuildProgress)
        Accessible.name: "Index rebuild progress"
    }

    Repeater {
        model: maintenance.processing.activity

        Label {
            required property string modelData

            Layout.fillWidth: true
            text: modelData
            wrapMode: Text.Wrap
            opacity: 0.8
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
    }
}
