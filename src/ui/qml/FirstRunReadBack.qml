import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Screen C: what was understood, said back, with room to correct it, and the start of the work.
ColumnLayout {
    id: page

    required property QtObject view

    spacing: 14

    Label {
        Layout.fillWidth: true
        text: "Let me say that back."
        font.bold: true
        font.pointSize: Qt.application.font.pointSize * 1.6
        wrapMode: Text.Wrap
        Accessible.role: Accessible.Heading
        Accessible.name: text
    }

    FirstRunAnswerBlock {
        Layout.fillWidth: true
        answer: page.view.answerBlock
    }

    RowLayout {
        Layout.fillWidth: true
        visible: page.view.waitText.length > 0
        spacing: 10

        BusyIndicator {
            Layout.preferredWidth: 28
            Layout.preferredHeight: 28
            running: visible && page.view.readBackWait === "reading"
            visible: page.view.readBackWait === "reading"
            Accessible.name: "Reading"
        }

        Label {
            Layout.fillWidth: true
            text: page.view.waitText
            wrapMode: Text.Wrap
            Accessible.name: text
        }
    }

    GridLayout {
        Layout.fillWidth: true
        visible: page.view.readBackRows.length > 0
        columns: 2
        columnSpacing: 18
        rowSpacing: 8

        Repeater {
            model: page.view.readBackRows

            Label {
                required property var modelData
                required property int index

                Layout.row: index
                Layout.column: 0
                Layout.alignment: Qt.AlignTop
                text: modelData.label
                opacity: 0.65
                Accessible.name: text
            }
        }

        Repeater {
            model: page.view.readBackRows

            Label {
                required property var modelData
                required property int index

                Layout.row: index
                Layout.column: 1
                Layout.fillWidth: true
                text: modelData.value
                font.bold: true
                wrapMode: Text.Wrap
                Accessible.name: modelData.label + ": " + modelData.value
            }
        }
    }

    Label {
        Layout.fillWidth: true
        visible: text.length > 0
        text: page.view.readBackNote
        wrapMode: Text.Wrap
        opacity: 0.75
        Accessible.name: text
    }

    Label {
        Layout.topMargin: 6
        text: "Anything I got wrong?"
        font.bold: true
        Accessible.name: text
    }

    AnswerControl {
        Layout.fillWidth: true
        accessibleName: "Correction"
        placeholder: "Answer — or hold to speak"
        daemon: page.view.daemon
        text: page.view.correction
        onTextChanged: if (text !== page.view.correction) page.view.correction = text
        onSubmit: page.view.confirm()
    }

    Label {
        Layout.fillWidth: true
        visible: page.view.showsCorrectionHint
        text: "use the box above to correct what I heard."
        opacity: 0.6
        font.pointSize: Qt.application.font.pointSize * 0.9
        Accessible.name: text
    }

    ShellButton {
        text: page.view.confirmText
        highlighted: true
        onClicked: page.view.confirm()
    }
}
