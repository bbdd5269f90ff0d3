import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The files to attach, numbered as the letter lists them, each with where it came from; those
// still awaited say so. A count by origin and the way to the folder come first.
ColumnLayout {
    id: section

    required property QtObject letter

    spacing: 4

    SectionHeading {
        text: "Attachments"
    }

    RowLayout {
        Layout.fillWidth: true
        spacing: 10

        Label {
            Layout.fillWidth: true
            text: section.letter.tally.map(t => t.label + " " + t.count).join(" · ")
            wrapMode: Text.Wrap
            opacity: 0.8
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }

        ShellButton {
            text: "Show the files"
            enabled: section.letter.hasAttachmentsFolder
            onClicked: section.letter.revealAttachments()
        }
    }

    Label {
        Layout.fillWidth: true
        text: section.letter.instruction
        opacity: 0.8
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    Repeater {
        model: section.letter.attachments

        RowLayout {
            required property var modelData

            Layout.fillWidth: true
            spacing: 10
            Accessible.role: Accessible.ListItem
            Accessible.name: modelData.number + ". " + modelData.name

            Label {
                Layout.preferredWidth: 24
                horizontalAlignment: Text.AlignRight
                text: parent.modelData.number + "."
                opacity: 0.7
            }

            Label {
                Layout.fillWidth: true
                text: parent.modelData.name
                font.italic: !parent.modelData.staged
                elide: Text.ElideMiddle
            }

            Label {
                text: parent.modelData.provenance
                opacity: 0.7
            }
        }
    }
}
