import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// What the first run holds of the user's answer: the words, or the recording's length while it
// is not yet words, and where it came from.
Frame {
    id: block

    required property var answer

    visible: (answer.heading || "").length > 0

    ColumnLayout {
        width: parent.width
        spacing: 6

        RowLayout {
            Layout.fillWidth: true

            Label {
                text: block.answer.heading || ""
                font.pointSize: Qt.application.font.pointSize * 0.8
                font.letterSpacing: 1
                font.bold: true
                opacity: 0.6
                Accessible.name: text
            }

            Item { Layout.fillWidth: true }

            Label {
                visible: text.length > 0
                text: block.answer.phoneChip || ""
                padding: 3
                leftPadding: 8
                rightPadding: 8
                font.pointSize: Qt.application.font.pointSize * 0.8
                color: palette.highlightedText
                background: Rectangle { radius: height / 2; color: palette.highlight }
                Accessible.name: text
            }
        }

        Label {
            Layout.fillWidth: true
            visible: text.length > 0
            text: block.answer.quoted ? "“" + block.answer.quoted + "”" : ""
            wrapMode: Text.Wrap
            font.italic: true
            Accessible.name: block.answer.quoted || ""
        }

        Label {
            visible: text.length > 0
            text: block.answer.length || ""
            font.family: "DejaVu Sans Mono"
            Accessible.name: "Recording " + text
        }

        Label {
            Layout.fillWidth: true
            visible: text.length > 0
            text: block.answer.note || ""
            opacity: 0.7
            Accessible.name: text
        }

        ProgressBar {
            Layout.fillWidth: true
            visible: (block.answer.noteFraction || -1) >= 0
            value: block.answer.noteFraction || 0
            Accessible.name: "Voice model download"
        }
    }
}
