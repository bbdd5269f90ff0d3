import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The command bar (Ctrl+K): one field that reaches every section, question and action.
Popup {
    id: bar

    required property QtObject shell
    readonly property QtObject commands: shell.commandBar

    function follow() {
        if (shell.showCommandBar)
            open()
        else
            close()
    }

    parent: Overlay.overlay
    x: Math.round((parent.width - width) / 2)
    y: Math.round(parent.height * 0.12)
    width: Math.min(640, parent.width - 48)
    height: Math.min(460, parent.height * 0.75)
    modal: true
    focus: true
    padding: 12

    Component.onCompleted: follow()
    onOpened: field.forceActiveFocus()
    onClosed: shell.showCommandBar = false

    Connections {
        target: bar.shell

        function onShowCommandBarChanged() {
            bar.follow()
        }
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 8
        Accessible.role: Accessible.Dialog
        Accessible.name: "Command bar"

        TextField {
            id: field

            Layout.fillWidth: true
            placeholderText: bar.commands.prompt
            text: bar.commands.query
            Accessible.name: "Command"
            onTextEdited: {
                bar.commands.query = text
                results.currentIndex = 0
            }
            onAccepted: bar.commands.run(results.currentIndex)
            Keys.onDownPressed: results.incrementCurrentIndex()
            Keys.onUpPressed: results.decrementCurrentIndex()
        }

        ErrorLine {
            Layout.fillWidth: true
            text: bar.commands.failureTitle.length > 0
                  ? bar.commands.failureTitle + ": " + bar.commands.failureText : ""
        }

        ListView {
            id: results

            Layout.fillWidth: true
            Layout.fillHeight: true
            model: bar.commands.rows
            clip: true
            boundsBehavior: Flickable.StopAtBounds
            Accessible.role: Accessible.List
            Accessible.name: "Commands"

            delegate: CommandRow {
                onActivated: bar.commands.run(index)
            }
        }

        Label {
            Layout.fillWidth: true
            text: bar.commands.footer
            horizontalAlignment: Text.AlignRight
            opacity: 0.7
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
    }
}
