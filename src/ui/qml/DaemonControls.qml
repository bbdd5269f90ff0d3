import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// How the daemon is held, and its start, stop and restart.
ColumnLayout {
    id: controls

    required property QtObject processing

    spacing: 6

    Label {
        Layout.fillWidth: true
        text: controls.processing.daemonRowText
        wrapMode: Text.Wrap
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    Flow {
        Layout.fillWidth: true
        spacing: 6

        ShellButton {
            text: controls.processing.processingActive ? "Stop processing" : "Start processing"
            enabled: controls.processing.controlsEnabled
            Accessible.name: text
            onClicked: controls.processing.processingActive ? controls.processing.stopProcessing()
                                                            : controls.processing.startProcessing()
        }

        ShellButton {
            text: "Restart daemon"
            enabled: controls.processing.controlsEnabled
            Accessible.name: text
            onClicked: controls.processing.restartDaemon()
        }
    }

    Label {
        Layout.fillWidth: true
        visible: text.length > 0
        text: controls.processing.controlsNote
        opacity: 0.75
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
}
