import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One open question: what it needs, the suggested answers, a field for one's own answer, and
// the ways to dismiss it or take it into its session.
Frame {
    id: card

    required property var modelData
    required property QtObject questions

    width: ListView.view ? ListView.view.width - 12 : implicitWidth
    Accessible.role: Accessible.Grouping
    Accessible.name: modelData.text

    ColumnLayout {
        width: parent.width
        spacing: 8

        Label {
            visible: text.length > 0
            text: card.modelData.label
            font.capitalization: Font.AllUppercase
            font.pointSize: Qt.application.font.pointSize * 0.85
            opacity: 0.7
        }

        Label {
            Layout.fillWidth: true
            text: card.modelData.text
            font.bold: true
            wrapMode: Text.Wrap
        }

        Label {
            Layout.fillWidth: true
            visible: text.length > 0
            text: card.modelData.context
            wrapMode: Text.Wrap
            opacity: 0.8
        }

        Flow {
            Layout.fillWidth: true
            visible: card.modelData.suggested.length > 0
            spacing: 6

            Repeater {
                model: card.modelData.suggested

                ShellButton {
                    required property var modelData

                    text: modelData.label
                    Accessible.name: "Answer " + modelData.label
                    onClicked: card.questions.answer(card.modelData.slug, modelData.answer)
                }
            }
        }

        TextField {
            id: answerField

            Layout.fillWidth: true
            placeholderText: "Your answer"
            Accessible.name: "Answer to " + card.modelData.slug
            onAccepted: sendButton.clicked()
        }

        RowLayout {
            spacing: 6

            ShellButton {
                id: sendButton

                text: "Answer"
                enabled: answerField.text.trim().length > 0
                highlighted: true
                Accessible.name: "Send answer to " + card.modelData.slug
                onClicked: {
                    if (card.questions.answer(card.modelData.slug, answerField.text))
                        answerField.clear()
                }
            }

            ShellButton {
                text: "Dismiss"
                Accessible.name: "Dismiss " + card.modelData.slug
                onClicked: card.questions.dismiss(card.modelData.slug, "")
            }

            ShellButton {
                text: "Join session"
                Accessible.name: "Join the session of " + card.modelData.slug
                onClicked: card.questions.join(card.modelData.slug)
            }
        }
    }
}
