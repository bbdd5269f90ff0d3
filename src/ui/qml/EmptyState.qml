import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// What a screen says while it has nothing to list, with an optional way forward.
Item {
    id: empty

    property string title
    property string text
    property string actionText

    signal actionTriggered()

    ColumnLayout {
        anchors.centerIn: parent
        width: Math.min(parent.width - 48, 520)
        spacing: 10

        Label {
            Layout.fillWidth: true
            text: empty.title
            font.pointSize: Qt.application.font.pointSize * 1.25
            font.bold: true
            wrapMode: Text.Wrap
            horizontalAlignment: Text.AlignHCenter
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }

        Label {
            Layout.fillWidth: true
            text: empty.text
            wrapMode: Text.Wrap
            horizontalAlignment: Text.AlignHCenter
            opacity: 0.8
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }

        ShellButton {
            Layout.alignment: Qt.AlignHCenter
            Layout.topMargin: 6
            visible: empty.actionText.length > 0
            text: empty.actionText
            Accessible.name: text
            onClicked: empty.actionTriggered()
        }
    }
}
