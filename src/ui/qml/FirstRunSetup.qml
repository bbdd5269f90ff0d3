import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Screen B: the gates still between the answer and the work, each settled once and never again.
ColumnLayout {
    id: page

    required property QtObject view

    spacing: 14

    Label {
        Layout.fillWidth: true
        text: page.view.conversation ? "Before I can act on that, I need a few things."
                                     : "Before we start, I need a few things."
        font.bold: true
        font.pointSize: Qt.application.font.pointSize * 1.6
        wrapMode: Text.Wrap
        Accessible.role: Accessible.Heading
        Accessible.name: text
    }

    Label {
        Layout.fillWidth: true
        text: page.view.conversation
              ? "Once, and then never again. Your answer is safe — I'll pick it up the moment this is done."
              : "Once, and then never again."
        wrapMode: Text.Wrap
        opacity: 0.8
        Accessible.name: text
    }

    FirstRunAnswerBlock {
        Layout.fillWidth: true
        answer: page.view.answerBlock
    }

    Label {
        text: page.view.caption
        opacity: 0.6
        font.italic: true
        Accessible.name: text
    }

    Repeater {
        model: page.view.rows

        ColumnLayout {
            id: rowItem

            required property var modelData

            Layout.fillWidth: true

            Label {
                Layout.fillWidth: true
                visible: rowItem.modelData.kind === "note"
                text: rowItem.modelData.text
                wrapMode: Text.Wrap
                opacity: 0.7
                Accessible.name: text
            }

            Label {
                Layout.fillWidth: true
                visible: rowItem.modelData.kind === "settled"
                text: "✓  " + rowItem.modelData.text
                color: "#2e8b57"
                font.bold: true
                wrapMode: Text.Wrap
                Accessible.name: rowItem.modelData.text
            }

            FirstRunGateCard {
                Layout.fillWidth: true
                visible: rowItem.modelData.gate === "engine" || rowItem.modelData.gate === "funding"
                row: rowItem.modelData
                view: page.view
            }

            FirstRunChecks {
                Layout.fillWidth: true
                visible: rowItem.modelData.gate === "checks"
                row: rowItem.modelData
                view: page.view
            }
        }
    }

    Loader {
        Layout.fillWidth: true
        active: page.view.naming !== null
        visible: active
        sourceComponent: IdentityNamingCard {
            naming: page.view.naming
        }
    }

    Label {
        Layout.fillWidth: true
        visible: text.length > 0
        text: page.view.actionError
        color: "#c0392b"
        wrapMode: Text.Wrap
        Accessible.name: text
    }

    Label {
        Layout.fillWidth: true
        visible: page.view.conversation
        text: "The moment everything is green I'll read what you told me and get started. You don't have to come back to this screen."
        wrapMode: Text.Wrap
        opacity: 0.7
        Accessible.name: text
    }

    ShellButton {
        visible: !page.view.conversation
        enabled: page.view.gatesClear
        highlighted: true
        text: "All set — continue"
        onClicked: page.view.confirm()
    }
}
