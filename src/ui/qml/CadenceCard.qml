import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One dreamer cadence: what its sessions do, and its status chip — a way to start one, or the
// live session with ways to watch and stop it.
RowLayout {
    id: card

    required property var modelData
    required property QtObject screenModel

    Layout.fillWidth: true
    spacing: 12

    ColumnLayout {
        Layout.fillWidth: true
        spacing: 2

        Label {
            Layout.fillWidth: true
            text: card.modelData.title
            font.bold: true
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }

        Label {
            Layout.fillWidth: true
            text: card.modelData.text
            wrapMode: Text.Wrap
            opacity: 0.8
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
    }

    BusyIndicator {
        visible: card.modelData.triggering || card.modelData.chip === "running"
        running: visible
        implicitWidth: 24
        implicitHeight: 24
        Accessible.name: "Working"
    }

    Label {
        visible: card.modelData.chip !== "trigger"
        text: (card.modelData.chip === "waiting" ? "✋ " : "") + card.modelData.label
        ToolTip.visible: hover.hovered && card.modelData.help.length > 0
        ToolTip.text: card.modelData.help
        Accessible.role: Accessible.StaticText
        Accessible.name: text

        HoverHandler {
            id: hover
        }
    }

    ShellButton {
        visible: card.modelData.chip === "trigger"
        enabled: !card.modelData.triggering
        text: "Run now"
        Accessible.name: "Run " + card.modelData.title + " now"
        Accessible.description: card.modelData.help
        ToolTip.visible: hovered
        ToolTip.text: card.modelData.help
        onClicked: card.screenModel.trigger(card.modelData.cadence)
    }

    ShellButton {
        visible: card.modelData.chip !== "trigger"
        text: "Attach"
        Accessible.name: "Attach to " + card.modelData.title
        Accessible.description: card.modelData.attachHelp
        ToolTip.visible: hovered
        ToolTip.text: card.modelData.attachHelp
        onClicked: card.screenModel.attach(card.modelData.session)
    }

    ShellButton {
        visible: card.modelData.chip !== "trigger"
        text: "Stop"
        Accessible.name: "Stop " + card.modelData.title
        Accessible.description: card.modelData.stopHelp
        ToolTip.visible: hovered
        ToolTip.text: card.modelData.stopHelp
        onClicked: card.screenModel.stopSession(card.modelData.session)
    }
}
