import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Mnemora.Voice

// A text field with a microphone inside it. Hold the microphone to speak; the words are added to
// the field, where they can be edited before the answer is sent.
ColumnLayout {
    id: control

    property alias text: model.text
    property alias placeholder: model.placeholder
    property alias daemon: model.daemon
    property string accessibleName: "Answer"
    property int minimumLines: 1
    property bool focusOnAppear: false
    readonly property AnswerControlModel model: model

    signal submit()
    signal reachedForMic()

    spacing: 4

    AnswerControlModel {
        id: model

        onReachedForMic: control.reachedForMic()
        onFocusedChanged: () => { if (model.focused) field.forceActiveFocus() }
    }

    Rectangle {
        Layout.fillWidth: true
        implicitHeight: Math.max(field.implicitHeight, 36)
        radius: 6
        color: palette.base
        border.width: model.tone === "neutral" ? 1 : 2
        border.color: model.tone === "listening" ? "#d64541"
                    : model.tone === "problem" ? "#d08a2c" : palette.mid

        TextArea {
            id: field

            anchors.left: parent.left
            anchors.right: mic.left
            anchors.verticalCenter: parent.verticalCenter
            visible: model.phase !== "listening"
            text: model.text
            readOnly: !model.fieldAcceptsTyping
            wrapMode: TextEdit.Wrap
            placeholderText: model.prompt
            placeholderTextColor: model.tone === "problem" ? "#b0701c" : palette.placeholderText
            background: null
            Accessible.name: control.accessibleName
            onTextChanged: if (text !== model.text) model.text = text
            onActiveFocusChanged: model.focused = activeFocus
            Keys.onPressed: event => {
                if ((event.key === Qt.Key_Return || event.key === Qt.Key_Enter)
                        && (event.modifiers & Qt.ControlModifier)) {
                    event.accepted = true
                    control.submit()
                }
            }
        }

        RowLayout {
            anchors.left: parent.left
            anchors.leftMargin: 10
            anchors.verticalCenter: parent.verticalCenter
            visible: model.phase === "listening"
            spacing: 8

            AnswerLevelMeter {
                history: model.holder.levelHistory
            }

            Label {
                text: model.elapsedText
                font.family: "DejaVu Sans Mono"
                Accessible.name: "Recording " + text
            }
        }

        MicHoldButton {
            id: mic

            anchors.right: parent.right
            anchors.rightMargin: 4
            anchors.verticalCenter: parent.verticalCenter
            holder: model.holder
            dashed: model.micIsDashed
            filled: model.micIsFilled
        }
    }

    Label {
        Layout.fillWidth: true
        visible: text.length > 0
        text: model.noticeLine
        color: "#b0701c"
        wrapMode: Text.Wrap
        Accessible.name: text
    }

    RowLayout {
        visible: model.canRetry || model.holder.micBlocked
        spacing: 6

        ShellButton {
            visible: model.canRetry
            text: "↻ Retry"
            ToolTip.text: "Send the same recording to transcription again — nothing was lost."
            ToolTip.visible: hovered
            Accessible.name: "Retry"
            onClicked: model.retry()
        }

        ShellButton {
            visible: model.holder.micBlocked
            text: "Open Settings"
            Accessible.name: "Open Settings"
            onClicked: model.openSettings()
        }

        Label {
            visible: model.holder.micBlocked
            text: "Not listed there? Check that a microphone is plugged in and not muted."
            opacity: 0.8
            Accessible.name: text
        }
    }

    Component.onCompleted: if (focusOnAppear) model.focused = true
}
