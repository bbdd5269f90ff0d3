import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// What a vault window shows while its vault comes up.
Pane {
    id: opening

    property string text

    ColumnLayout {
        anchors.centerIn: parent
        spacing: 12

        BusyIndicator {
            Layout.alignment: Qt.AlignHCenter
            running: opening.visible
            Accessible.name: opening.text
        }

        Label {
            Layout.alignment: Qt.AlignHCenter
            text: opening.text
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }
    }
}
