import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Screen A: who this is for, the one open question and the field to answer it in.
ColumnLayout {
    id: page

    required property QtObject view

    spacing: 14

    Label {
        Layout.fillWidth: true
        text: "I do the boring half of your bookkeeping."
        font.bold: true
        font.pointSize: Qt.application.font.pointSize * 1.6
        wrapMode: Text.Wrap
        Accessible.role: Accessible.Heading
        Accessible.name: text
    }

    Repeater {
        model: [
            "Every period you have to gather statements, hunt down receipts, and send the lot to your accountant. I do that part — in a browser on this computer, the same way you would — and hand you the finished email to read and send.",
            "I'll need to interrupt you a few times. Mostly just to sign in somewhere.",
            "No form, no fields, nothing to look up. Anything you leave out, I'll ask about when I hit it."
        ]

        Label {
            required property string modelData

            Layout.fillWidth: true
            text: modelData
            wrapMode: Text.Wrap
            lineHeight: 1.15
            Accessible.name: text
        }
    }

    Frame {
        Layout.fillWidth: true
        Layout.topMargin: 8
        visible: page.view.reAsk

        Label {
            width: parent.width
            text: "I couldn't turn that recording into words. The part of me that does that has finished downloading since — so hold the mic and say it again, and it'll work this time. Or type it."
            wrapMode: Text.Wrap
            color: "#b0701c"
            Accessible.name: text
        }
    }

    Label {
        Layout.fillWidth: true
        Layout.topMargin: 10
        text: "So — tell me about your business, and what you send your accountant."
        font.bold: true
        font.pointSize: Qt.application.font.pointSize * 1.25
        wrapMode: Text.Wrap
        Accessible.role: Accessible.Heading
        Accessible.name: text
    }

    Label {
        Layout.fillWidth: true
        text: "PEOPLE USUALLY SAY SOMETHING LIKE"
        font.pointSize: Qt.application.font.pointSize * 0.8
        font.letterSpacing: 1
        opacity: 0.6
        Accessible.name: text
    }

    Label {
        Layout.fillWidth: true
        text: "\"I run a small design studio in Helsinki, it's an Oy. Every month I send Tiklex a folder with the bank statement, the card statement and all the receipts. She's at Fischer & Co and she writes to me in German.\""
        font.italic: true
        wrapMode: Text.Wrap
        opacity: 0.75
        Accessible.name: text
    }

    AnswerControl {
        id: answer

        Layout.fillWidth: true
        accessibleName: "Your answer"
        placeholder: "Answer — or hold to speak"
        daemon: page.view.daemon
        minimumLines: 3
        focusOnAppear: true
        text: page.view.draft
        onTextChanged: if (text !== page.view.draft) page.view.draft = text
        onSubmit: page.view.send()
        Component.onCompleted: page.view.attachAnswer(answer.model)
    }

    RowLayout {
        Layout.fillWidth: true
        spacing: 12

        ShellButton {
            text: "That's it — get started"
            highlighted: true
            enabled: page.view.canSend
            onClicked: page.view.send()
        }

        Label {
            Layout.fillWidth: true
            text: "off until you've said something · or Ctrl+Enter"
            opacity: 0.6
            font.pointSize: Qt.application.font.pointSize * 0.9
            wrapMode: Text.Wrap
            Accessible.name: text
        }
    }

    Frame {
        Layout.fillWidth: true
        Layout.topMargin: 10
        visible: page.view.phoneOffer

        ColumnLayout {
            width: parent.width
            spacing: 4

            Label {
                text: "Rather answer on your phone?"
                font.bold: true
                Accessible.name: text
            }

            Label {
                Layout.fillWidth: true
                text: page.view.phoneOfferText
                wrapMode: Text.Wrap
                opacity: 0.8
                Accessible.name: text
            }
        }
    }
}
