import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Whose library this is: the identity's name, the short name it files under, and what the
// sample data of that name would bring in.
Frame {
    id: card

    required property QtObject naming

    ColumnLayout {
        width: parent.width
        spacing: 8

        Label {
            Layout.fillWidth: true
            text: "Name the identity for your primary library. You can add more later."
            font.bold: true
            wrapMode: Text.Wrap
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }

        GridLayout {
            Layout.fillWidth: true
            columns: 2
            columnSpacing: 12
            rowSpacing: 6

            Label {
                text: "Name"
                Accessible.ignored: true
            }

            TextField {
                Layout.fillWidth: true
                text: card.naming.displayName
                placeholderText: "Your name"
                onTextEdited: card.naming.displayName = text
                Accessible.name: "Identity name"
            }

            Label {
                text: "Short name"
                Accessible.ignored: true
            }

            TextField {
                Layout.fillWidth: true
                text: card.naming.identityId
                placeholderText: "your-name"
                onTextEdited: card.naming.identityId = text
                Accessible.name: "Short name"
            }
        }

        Label {
            Layout.fillWidth: true
            visible: text.length > 0
            text: card.naming.previewText
            opacity: 0.7
            Accessible.name: text
        }
    }
}
