import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The frame of every screen: its title, its summary lines, the words of a failed action, and
// the screen's own content below.
Pane {
    id: page

    property QtObject screenModel
    property QtObject shell
    property string title
    default property alias content: body.data

    padding: 24

    ColumnLayout {
        anchors.fill: parent
        spacing: 6

        Label {
            Layout.fillWidth: true
            text: page.title
            font.pointSize: Qt.application.font.pointSize * 1.6
            font.bold: true
            elide: Text.ElideRight
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }

        Repeater {
            model: page.screenModel.summary

            Label {
                required property string modelData

                Layout.fillWidth: true
                text: modelData
                wrapMode: Text.Wrap
                opacity: 0.8
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
        }

        ErrorLine {
            Layout.fillWidth: true
            text: page.screenModel.errorText
        }

        Item {
            id: body

            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.topMargin: 10
        }
    }
}
