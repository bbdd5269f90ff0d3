import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// What passed between the user and the accountant, oldest first, and a note to add to it.
ColumnLayout {
    id: section

    required property QtObject letter

    spacing: 6

    SectionHeading {
        text: "Between you and your accountant"
    }

    Label {
        Layout.fillWidth: true
        visible: section.letter.correspondence.length === 0
        text: "Nothing yet. Once the letter has gone, replies and your notes show here."
        wrapMode: Text.Wrap
        opacity: 0.8
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    Repeater {
        model: section.letter.correspondence

        ColumnLayout {
            required property var modelData

            Layout.fillWidth: true
            spacing: 2
            Accessible.role: Accessible.ListItem
            Accessible.name: modelData.kind + ": " + modelData.preview

            Label {
                Layout.fillWidth: true
                text: parent.modelData.kind + (parent.modelData.at.length > 0
                                               ? " · " + parent.modelData.at : "")
                font.bold: true
                elide: Text.ElideRight
            }

            Label {
                Layout.fillWidth: true
                text: parent.modelData.text
                wrapMode: Text.Wrap
                maximumLineCount: 8
                elide: Text.ElideRight
                opacity: 0.85
            }
        }
    }

    TextArea {
        id: note

        Layout.fillWidth: true
        Layout.preferredHeight: 70
        placeholderText: "A note for this period: what you agreed, what they asked…"
        wrapMode: TextEdit.Wrap
        Accessible.name: "Note"
        background: Rectangle {
            color: note.palette.base
            border.color: note.activeFocus ? note.palette.highlight : note.palette.mid
            radius: 3
        }
    }

    ShellButton {
        text: "Add the note"
        enabled: note.text.trim().length > 0
        onClicked: {
            section.letter.addNote(note.text)
            note.text = ""
        }
    }
}
