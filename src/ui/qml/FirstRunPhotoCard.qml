import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Access to the photo folders the daemon reads: asked for once, and, when a folder cannot be
// read, the way to the folder and the promise to notice once it can.
Frame {
    id: card

    required property QtObject view
    readonly property bool refused: view.photos.state === "refused"

    ColumnLayout {
        width: parent.width
        spacing: 6

        Label {
            Layout.fillWidth: true
            text: "Receipts are found by reading them."
            wrapMode: Text.Wrap
            Accessible.name: text
        }

        ShellButton {
            visible: !card.refused
            highlighted: true
            text: "Let me read your photos"
            onClicked: card.view.requestPhotos()
        }

        ShellButton {
            visible: card.refused
            highlighted: true
            text: "Open photo folders in the file manager"
            onClicked: card.view.openPhotoSettings()
        }

        Label {
            Layout.fillWidth: true
            visible: card.refused
            text: "Then come back — I'll notice."
            wrapMode: Text.Wrap
            opacity: 0.7
            Accessible.name: text
        }

        Label {
            visible: card.refused
            text: "<a href=\"report\">Still nothing?</a>"
            textFormat: Text.StyledText
            linkColor: palette.link
            Accessible.role: Accessible.Link
            Accessible.name: "Still nothing?"
            onLinkActivated: card.view.reportingProblem = true
        }
    }
}
