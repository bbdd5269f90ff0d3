import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One question: who it is for, when it was asked, the suggested answers, a field to answer in
// by typing or speaking, and the ways to dismiss it or take it into its session.
Frame {
    id: card

    required property var modelData
    required property QtObject inbox
    readonly property bool resolved: modelData.resolved.length > 0

    width: ListView.view ? ListView.view.width - 12 : implicitWidth
    Accessible.role: Accessible.Grouping
    Accessible.name: modelData.text
    Accessible.description: modelData.description

    ColumnLayout {
        width: parent.width
        spacing: 8

        RowLayout {
            Layout.fillWidth: true

            Label {
                visible: text.length > 0
                text: card.modelData.label
                font.capitalization: Font.AllUppercase
                font.pointSize: Qt.application.font.pointSize * 0.85
                opacity: 0.7
                Accessible.name: text
            }

            Item { Layout.fillWidth: true }

            Label {
                visible: card.resolved
                text: card.modelData.resolved
                color: "#2e8b57"
                font.bold: true
                Accessible.name: text
            }
        }

        Label {
            Layout.fillWidth: true
            text: card.modelData.text
            font.bold: true
            wrapMode: Text.Wrap
            Accessible.name: text
        }

        Label {
            Layout.fillWidth: true
            visible: text.length > 0
            text: card.modelData.asked
            opacity: 0.6
            font.pointSize: Qt.application.font.pointSize * 0.85
            Accessible.name: text
        }

        Label {
            Layout.fillWidth: true
            visible: text.length > 0
            text: card.modelData.context
            wrapMode: Text.Wrap
            opacity: 0.8
            Accessible.name: text
        }

        Label {
            Layout.fillWidth: true
            visible: text.length > 0
            text: card.modelData.echo
            wrapMode: Text.Wrap
            font.italic: true
            Accessible.name: "Your answer: " + text
        }

        Label {
            Layout.fillWidth: true
            visible: text.length > 0
            text: card.modelData.goingBackIn
            Accessible.name: text
        }

        Flow {
            Layout.fillWidth: true
            visible: !card.resolved
                     && (card.modelData.suggested.length + card.modelData.allocationChoices.length) > 0
            spacing: 6

            Repeater {
                model: card.modelData.suggested

                ShellButton {
                    required property var modelData
                    required property int index

                    text: modelData.label
                    Accessible.name: "Answer " + modelData.label
                    onClicked: card.inbox.choose(card.modelData.slug, index)
                }
            }

            Repeater {
                model: card.modelData.allocationChoices

                ShellButton {
                    required property string modelData

                    text: modelData
                    Accessible.name: "Allocate to " + modelData
                    onClicked: card.inbox.chooseAllocation(card.modelData.slug, modelData)
                }
            }
        }

        AnswerControl {
            id: answerField

            Layout.fillWidth: true
            visible: card.inbox.answerInline && !card.resolved
            daemon: card.inbox.daemon
            accessibleName: "Answer to " + card.modelData.slug
            onSubmit: if (sendButton.enabled) sendButton.clicked()
            // The inbox keeps the draft, so it survives this card being rebuilt.
            Component.onCompleted: text = card.inbox.draft(card.modelData.slug)
            onTextChanged: card.inbox.setDraft(card.modelData.slug, text)
        }

        RowLayout {
            visible: !card.resolved
            spacing: 6

            ShellButton {
                id: sendButton

                visible: card.inbox.answerInline
                text: "Send this answer — Ctrl+Enter"
                enabled: card.inbox.canSend(answerField.text)
                highlighted: true
                Accessible.name: "Send answer to " + card.modelData.slug
                onClicked: card.inbox.send(card.modelData.slug, answerField.text)
            }

            ShellButton {
                text: "More room to write"
                Accessible.name: "More room to write for " + card.modelData.slug
                onClicked: card.inbox.openAnswerSheet(card.modelData.slug)
            }

            ShellButton {
                visible: card.inbox.allowDismiss
                text: "Dismiss"
                ToolTip.text: "Dismiss this question"
                ToolTip.visible: hovered
                Accessible.name: "Dismiss " + card.modelData.slug
                onClicked: card.inbox.openDismissSheet(card.modelData.slug)
            }

            ShellButton {
                visible: card.inbox.showJoinSession
                text: "Join session"
                ToolTip.text: "Open this question's Claude session in a terminal — attaches to the live session that asked, or starts a fresh one primed with the question."
                ToolTip.visible: hovered
                Accessible.name: "Join the session of " + card.modelData.slug
                onClicked: card.inbox.join(card.modelData.slug)
            }
        }
    }
}
