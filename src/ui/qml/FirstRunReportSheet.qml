import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// A problem report from the first run: the user's words, sent with the screen they were on and
// the gate it waited on.
Dialog {
    id: sheet

    required property QtObject view

    modal: true
    title: "Report a problem"
    width: Math.min(parent ? parent.width - 80 : 520, 520)
    anchors.centerIn: parent
    onClosed: sheet.view.reportingProblem = false

    ColumnLayout {
        anchors.fill: parent
        spacing: 8

        Label {
            text: "Tell me what happened"
            font.bold: true
            Accessible.name: text
        }

        TextArea {
            id: words

            Layout.fillWidth: true
            Layout.preferredHeight: 110
            wrapMode: TextEdit.Wrap
            placeholderText: "Is the app itself misbehaving?"
            Accessible.name: "Tell me what happened"
        }

        Label {
            Layout.fillWidth: true
            visible: text.length > 0
            text: sheet.view.reportResult
            wrapMode: Text.Wrap
            Accessible.name: text
        }

        RowLayout {
            Layout.alignment: Qt.AlignRight

            ShellButton {
                text: "Close"
                onClicked: sheet.close()
            }

            ShellButton {
                text: "Send"
                highlighted: true
                enabled: words.text.trim().length > 0
                onClicked: sheet.view.submitReport(words.text)
            }
        }
    }
}
