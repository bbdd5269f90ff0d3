import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The questions inbox: a titled list of question cards, the consent sheet before a login card
// goes ahead, the answer and dismissal sheets, and the alert of a failed action.
Item {
    id: inboxView

    required property QtObject inbox

    ListView {
        id: list

        anchors.fill: parent
        visible: !inboxView.inbox.empty
        model: inboxView.inbox.cards
        clip: true
        spacing: 12
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.vertical: ScrollBar {
            Accessible.name: inboxView.inbox.title + " scroll bar"
        }
        Accessible.role: Accessible.List
        Accessible.name: inboxView.inbox.title
        delegate: QuestionCard {
            inbox: inboxView.inbox
        }
        footer: ShellButton {
            visible: text.length > 0
            height: visible ? implicitHeight : 0
            text: inboxView.inbox.moreButtonText
            Accessible.name: text
            onClicked: inboxView.inbox.expand()
        }
    }

    Label {
        anchors.fill: parent
        visible: inboxView.inbox.empty && text.length > 0
        text: inboxView.inbox.emptyText
        wrapMode: Text.Wrap
        opacity: 0.7
        Accessible.name: text
    }

    AnswerSheet {
        id: sheet

        parent: Overlay.overlay
        visible: inboxView.inbox.sheet.mode !== undefined
        mode: inboxView.inbox.sheet.mode || "answer"
        question: inboxView.inbox.sheet.question || ""
        daemon: inboxView.inbox.daemon
        onSubmitted: text => inboxView.inbox.submitSheet(text)
        onRejected: inboxView.inbox.closeSheet()
    }

    AgentAcceptanceSheet {
        parent: Overlay.overlay
        visible: inboxView.inbox.handoverCopy.acceptLabel !== undefined
        copy: inboxView.inbox.handoverCopy
        onAccepting: inboxView.inbox.accept()
        onDeclining: inboxView.inbox.decline()
    }

    Dialog {
        parent: Overlay.overlay
        anchors.centerIn: parent
        modal: true
        title: "Action failed"
        visible: inboxView.inbox.actionError.length > 0
        standardButtons: Dialog.Ok
        width: Math.min(parent ? parent.width - 80 : 480, 480)
        onClosed: inboxView.inbox.clearActionError()

        Label {
            width: parent.width
            text: inboxView.inbox.actionError
            wrapMode: Text.Wrap
            Accessible.name: text
        }
    }
}
