import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One numbered gate the user settles by hand: the engine's install, or who pays for the AI.
Frame {
    id: card

    required property var row
    required property QtObject view
    readonly property bool engine: row.gate === "engine"
    property bool helpShown: false

    Accessible.role: Accessible.Grouping
    Accessible.name: row.title || ""

    ColumnLayout {
        width: parent.width
        spacing: 8

        Label {
            Layout.fillWidth: true
            text: (card.row.number || "") + ".  " + (card.row.title || "")
            font.bold: true
            wrapMode: Text.Wrap
            Accessible.role: Accessible.Heading
            Accessible.name: card.row.title || ""
        }

        // The engine.
        Label {
            Layout.fillWidth: true
            visible: card.engine
            text: "I run on Claude Code. It and two helpers have to be installed. I'll watch and say the moment it works."
            wrapMode: Text.Wrap
            Accessible.name: text
        }

        Label {
            Layout.fillWidth: true
            visible: card.engine && card.view.missingTools.length > 0
            text: "Still missing: " + card.view.missingTools.join(", ")
            color: "#b0701c"
            wrapMode: Text.Wrap
            Accessible.name: text
        }

        RowLayout {
            visible: card.engine
            spacing: 8

            ShellButton {
                text: "Open a terminal and paste it"
                highlighted: true
                onClicked: card.view.openTerminal()
            }

            ShellButton {
                text: "What can I do about this?"
                onClicked: card.helpShown = !card.helpShown
            }
        }

        TextArea {
            Layout.fillWidth: true
            visible: card.engine && card.helpShown
            text: card.view.engineCommand
            readOnly: true
            selectByMouse: true
            wrapMode: TextEdit.Wrap
            font.family: "DejaVu Sans Mono"
            Accessible.name: "Install command"
        }

        // Who pays.
        RowLayout {
            visible: !card.engine
            spacing: 8

            ShellButton {
                text: "I have a Claude subscription"
                highlighted: true
                onClicked: card.view.chooseSubscription()
            }

            ShellButton {
                text: "I don't — what are my options?"
                onClicked: card.view.showFundingOptions()
            }
        }

        Label {
            Layout.fillWidth: true
            visible: !card.engine && card.view.fundingOptionsShown
            text: "Today there is one: a Claude subscription from Anthropic, the same one you would use for Claude itself. I run on it rather than billing you for my own — it is cheaper for you and I never hold your card. Running on a model on this computer instead is something I want to offer and cannot yet."
            wrapMode: Text.Wrap
            Accessible.name: text
        }

        Label {
            Layout.fillWidth: true
            visible: !card.engine
            text: "Your own Claude subscription is much the cheapest way to run me — Anthropic makes you sign in yourself, so that is a second terminal trip."
            wrapMode: Text.Wrap
            opacity: 0.7
            Accessible.name: text
        }
    }
}
