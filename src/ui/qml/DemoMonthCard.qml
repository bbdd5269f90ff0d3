import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Offered once the first run has started the user's own close: a made-up month to watch in a
// window of its own while the real one works.
Frame {
    id: card

    required property QtObject offer

    visible: offer !== null && offer.shown

    ColumnLayout {
        width: parent.width
        spacing: 6

        Label {
            Layout.fillWidth: true
            text: card.offer ? card.offer.title : ""
            font.bold: true
            wrapMode: Text.Wrap
            Accessible.name: text
        }

        Label {
            Layout.fillWidth: true
            text: card.offer ? card.offer.detail : ""
            wrapMode: Text.Wrap
            opacity: 0.8
            Accessible.name: text
        }

        RowLayout {
            spacing: 8

            ShellButton {
                text: "Show me"
                highlighted: true
                enabled: card.offer !== null && !card.offer.opening
                onClicked: card.offer.accept()
            }

            ShellButton {
                text: "No thanks"
                flat: true
                onClicked: card.offer.decline()
            }
        }

        ErrorLine {
            Layout.fillWidth: true
            text: card.offer ? card.offer.failure : ""
        }
    }
}
