import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Answers or dismisses one question, with room to write or hold the microphone to speak.
Dialog {
    id: sheet

    property string mode: "answer"
    property string question
    property QtObject daemon
    property string initialText

    signal submitted(string text)

    readonly property bool answering: mode === "answer"
    readonly property string text: daemon ? voiceField.text : plainField.text

    title: answering ? "Answer question" : "Dismiss question"
    modal: true
    width: Math.min(parent ? parent.width - 80 : 520, 520)
    anchors.centerIn: parent
    closePolicy: Popup.CloseOnEscape

    onOpened: {
        voiceField.text = initialText
        plainField.text = initialText
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 6

        Label {
            text: "Question"
            font.bold: true
            Accessible.name: text
        }

        Label {
            Layout.fillWidth: true
            text: sheet.question
            wrapMode: Text.Wrap
            Accessible.name: text
        }

        Label {
            Layout.topMargin: 8
            text: sheet.answering ? "Your answer" : "Reason (optional)"
            font.bold: true
            Accessible.name: text
        }

        AnswerControl {
            id: voiceField

            Layout.fillWidth: true
            visible: sheet.daemon !== null
            daemon: sheet.daemon
            placeholder: sheet.answering ? "Answer — or hold to speak" : "Why — or hold to speak (optional)"
            accessibleName: sheet.answering ? "Your answer" : "Reason (optional)"
            onSubmit: confirm.clicked()
        }

        TextField {
            id: plainField

            Layout.fillWidth: true
            visible: sheet.daemon === null
            placeholderText: voiceField.placeholder
            Accessible.name: voiceField.accessibleName
        }

        RowLayout {
            Layout.alignment: Qt.AlignRight
            Layout.topMargin: 8

            ShellButton {
                text: "Cancel"
                Accessible.name: text
                onClicked: sheet.reject()
            }

            ShellButton {
                id: confirm

                text: sheet.answering ? "Send answer" : "Dismiss"
                highlighted: true
                enabled: !sheet.answering || sheet.text.trim().length > 0
                Accessible.name: text
                onClicked: {
                    sheet.submitted(sheet.text)
                    sheet.accept()
                }
            }
        }
    }
}
