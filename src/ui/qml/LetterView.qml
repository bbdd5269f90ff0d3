import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The letter to the accountant as far as the run has written it, the ways to send it from the
// user's own mail program, the files to attach, and what has passed between them since.
SurfaceScroll {
    id: view

    required property QtObject letter

    name: "Letter"
    spacing: 10

    EmptyState {
        Layout.fillWidth: true
        Layout.preferredHeight: 200
        visible: !view.letter.hasDraft
        title: "No letter yet"
        text: "Once the run has gathered the period, it writes the letter to your accountant "
              + "here, with the files to attach. You send it from your own mail program."
    }

    Label {
        Layout.fillWidth: true
        visible: view.letter.notReady
        text: view.letter.sendRefusal
        wrapMode: Text.Wrap
        color: "#c0392b"
        font.bold: true
        Accessible.role: Accessible.AlertMessage
        Accessible.name: text
    }

    ColumnLayout {
        Layout.fillWidth: true
        visible: view.letter.hasDraft
        spacing: 4

        LetterField {
            Layout.fillWidth: true
            name: "To"
            value: view.letter.to.length > 0 ? view.letter.to : "No address yet"
        }

        LetterField {
            Layout.fillWidth: true
            name: "Cc"
            value: view.letter.cc
            visible: value.length > 0
        }

        LetterField {
            Layout.fillWidth: true
            name: "Subject"
            value: view.letter.subject.length > 0 ? view.letter.subject : "No subject yet"
        }
    }

    LetterPaper {
        Layout.fillWidth: true
        visible: view.letter.hasDraft
        letter: view.letter
    }

    RowLayout {
        Layout.fillWidth: true
        visible: view.letter.hasDraft
        spacing: 10

        ShellButton {
            text: "Copy the letter"
            enabled: view.letter.canSend
            onClicked: view.letter.copy()
        }

        ShellButton {
            text: "Open in mail"
            enabled: view.letter.canSend
            onClicked: view.letter.openInMail()
        }

        Item {
            Layout.fillWidth: true
        }
    }

    Label {
        Layout.fillWidth: true
        visible: view.letter.hasDraft && !view.letter.canSend && !view.letter.notReady
        text: view.letter.sendRefusal
        wrapMode: Text.Wrap
        opacity: 0.8
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    ActionWords {
        Layout.fillWidth: true
        message: view.letter.message
        error: view.letter.errorText
    }

    Label {
        Layout.fillWidth: true
        visible: view.letter.notes.length > 0
        text: "From the run: " + view.letter.notes
        wrapMode: Text.Wrap
        font.italic: true
        opacity: 0.8
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    LetterAttachments {
        Layout.fillWidth: true
        visible: view.letter.attachments.length > 0
        letter: view.letter
    }

    CorrespondenceSection {
        Layout.fillWidth: true
        visible: view.letter.hasDraft || view.letter.correspondence.length > 0
        letter: view.letter
    }
}
