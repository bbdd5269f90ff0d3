import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Transcribe: the live transcription of a recording in progress, recordings made here, and the
// voice memos turned into text, with their words.
ScreenPage {
    id: screen

    readonly property var panel: screen.screenModel.panel

    ColumnLayout {
        anchors.fill: parent
        spacing: 10

        Frame {
            Layout.fillWidth: true
            Accessible.role: Accessible.Grouping
            Accessible.name: "Live transcription"

            ColumnLayout {
                width: parent.width
                spacing: 6

                Flow {
                    Layout.fillWidth: true
                    visible: screen.panel.chips.length > 0
                    spacing: 6

                    Repeater {
                        model: screen.panel.chips

                        Label {
                            required property string modelData

                            text: modelData
                            padding: 4
                            background: Rectangle { radius: 4; color: palette.alternateBase }
                            Accessible.name: text
                        }
                    }
                }

                Label {
                    Layout.fillWidth: true
                    visible: text.length > 0
                    text: screen.panel.headline
                    font.bold: true
                    wrapMode: Text.Wrap
                    Accessible.name: text
                }

                Label {
                    Layout.fillWidth: true
                    visible: text.length > 0
                    text: screen.panel.status
                    Accessible.name: text
                }

                ProgressBar {
                    Layout.fillWidth: true
                    visible: screen.panel.progress >= 0
                    value: Math.max(screen.panel.progress, 0)
                    Accessible.name: "Transcription progress"
                }

                Label {
                    Layout.fillWidth: true
                    visible: text.length > 0
                    text: screen.panel.detail
                    wrapMode: Text.Wrap
                    opacity: 0.85
                    Accessible.name: text
                }

                RowLayout {
                    spacing: 6

                    Repeater {
                        model: screen.panel.buttons

                        ShellButton {
                            required property string modelData

                            text: modelData
                            Accessible.name: modelData
                            onClicked: screen.screenModel.panelAction(modelData)
                        }
                    }
                }
            }
        }

        RowLayout {
            spacing: 10

            ShellButton {
                text: screen.screenModel.recordLabel
                highlighted: screen.screenModel.recording
                ToolTip.text: screen.screenModel.recording ? "Saves the recording and starts transcription"
                                                           : "Starts a new voice recording"
                ToolTip.visible: hovered
                Accessible.name: screen.screenModel.recording ? "Stop recording" : "Record"
                onClicked: screen.screenModel.toggleRecording()
            }

            MicHoldButton {
                holder: screen.screenModel.holder
                dashed: !screen.screenModel.holder.recorder.recording
                filled: screen.screenModel.holder.recorder.recording
                accessibleName: "Push-to-talk record"
                help: "Hold to record (push-to-talk)"
            }

            Label {
                text: "Hold to record (push-to-talk)"
                opacity: 0.8
                Accessible.name: text
            }

            ShellButton {
                visible: screen.screenModel.holder.micBlocked
                text: "Open Microphone Settings"
                Accessible.name: text
                onClicked: Qt.openUrlExternally("settings://sound")
            }

            Label {
                visible: screen.screenModel.store.savingRecording
                text: "Saving…"
                Accessible.name: text
            }
        }

        RowList {
            Layout.fillWidth: true
            Layout.fillHeight: true
            screenModel: screen.screenModel
            name: "Transcripts"
        }
    }
}
