import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The last gate, as a line: the proofs that it all works, run on nothing that matters.
ColumnLayout {
    id: line

    required property var row
    required property QtObject view

    spacing: 6

    RowLayout {
        Layout.fillWidth: true

        Label {
            Layout.fillWidth: true
            text: (line.row.number || "") + ".  " + (line.row.title || "")
            font.bold: true
            wrapMode: Text.Wrap
            Accessible.role: Accessible.Heading
            Accessible.name: line.row.title || ""
        }

        Label {
            visible: text.length > 0
            text: line.view.checksSummary
            color: "#2e8b57"
            Accessible.name: text
        }
    }

    Label {
        Layout.fillWidth: true
        text: "Running now, on nothing that matters. Better here than halfway through your books."
        wrapMode: Text.Wrap
        opacity: 0.7
        Accessible.name: text
    }

    Loader {
        Layout.fillWidth: true
        active: line.view.photos !== null && line.view.photos.state !== "granted"
        visible: active
        sourceComponent: FirstRunPhotoCard {
            view: line.view
        }
    }

    Repeater {
        model: line.view.checks

        RowLayout {
            id: check

            required property var modelData
            readonly property bool done: modelData.ok !== undefined

            Layout.fillWidth: true
            spacing: 8

            Label {
                Layout.preferredWidth: 18
                text: check.modelData.running ? "…"
                    : !check.done ? "○"
                    : check.modelData.ok ? "✓" : "✗"
                color: !check.done ? palette.windowText
                     : check.modelData.ok ? "#2e8b57" : "#c0392b"
                Accessible.ignored: true
            }

            ColumnLayout {
                Layout.fillWidth: true
                spacing: 0

                Label {
                    Layout.fillWidth: true
                    text: check.modelData.title
                    wrapMode: Text.Wrap
                    Accessible.name: text
                }

                Label {
                    Layout.fillWidth: true
                    visible: check.done && !check.modelData.ok && text.length > 0
                    text: check.modelData.message || ""
                    color: "#c0392b"
                    wrapMode: Text.Wrap
                    font.pointSize: Qt.application.font.pointSize * 0.9
                    Accessible.name: text
                }
            }
        }
    }

    Label {
        Layout.fillWidth: true
        visible: text.length > 0
        text: line.view.checksNote
        wrapMode: Text.Wrap
        opacity: 0.7
        font.pointSize: Qt.application.font.pointSize * 0.9
        Accessible.name: text
    }

    ColumnLayout {
        Layout.fillWidth: true
        visible: line.view.checksFailed
        spacing: 4

        RowLayout {
            spacing: 8

            ShellButton {
                text: "Try again"
                highlighted: true
                onClicked: line.view.retryChecks()
            }

            ShellButton {
                text: "Tell us about it"
                onClicked: line.view.reportingProblem = true
            }
        }

        Label {
            text: "I'll send it on with which step failed."
            opacity: 0.6
            font.pointSize: Qt.application.font.pointSize * 0.9
            Accessible.name: text
        }
    }
}
