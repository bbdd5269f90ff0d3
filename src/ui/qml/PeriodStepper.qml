import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Back and forward through the periods of the books in view, with the period between.
RowLayout {
    id: stepper

    required property var stepper

    signal go(string period)

    spacing: 4

    ToolButton {
        text: "‹"
        font.pointSize: Qt.application.font.pointSize * 1.4
        enabled: stepper.stepper.back.length > 0
        ToolTip.visible: hovered
        ToolTip.text: stepper.stepper.backHelp
        Accessible.name: stepper.stepper.backHelp
        onClicked: stepper.go(stepper.stepper.back)
    }

    Label {
        Layout.minimumWidth: 150
        horizontalAlignment: Text.AlignHCenter
        text: stepper.stepper.label
        font.bold: true
        font.pointSize: Qt.application.font.pointSize * 1.2
        Accessible.role: Accessible.StaticText
        Accessible.name: stepper.stepper.accessibleName
    }

    ToolButton {
        text: "›"
        font.pointSize: Qt.application.font.pointSize * 1.4
        enabled: stepper.stepper.forward.length > 0
        ToolTip.visible: hovered
        ToolTip.text: stepper.stepper.forwardHelp
        Accessible.name: stepper.stepper.forwardHelp
        onClicked: stepper.go(stepper.stepper.forward)
    }
}
