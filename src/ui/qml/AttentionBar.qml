import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The one thing that waits on the daemon's side: a pause for usage limits, which resumes by
// itself, or a close cut off mid-work, which waits for the user's Resume.
Rectangle {
    id: bar

    required property var attention

    signal resume()

    visible: attention.title !== undefined
    implicitHeight: visible ? row.implicitHeight + 16 : 0
    radius: 4
    color: attention.needsYou ? Qt.rgba(0.85, 0.33, 0.2, 0.14) : Qt.rgba(0.2, 0.5, 0.9, 0.12)
    border.color: attention.needsYou ? "#d35400" : palette.highlight
    Accessible.role: Accessible.AlertMessage
    Accessible.name: visible ? attention.title + ". " + attention.detail : ""

    RowLayout {
        id: row

        anchors.fill: parent
        anchors.margins: 8
        spacing: 10

        Label {
            Layout.alignment: Qt.AlignTop
            Layout.preferredWidth: 24
            Layout.preferredHeight: 24
            text: bar.attention.icon || ""
            font.bold: true
            color: "white"
            horizontalAlignment: Text.AlignHCenter
            verticalAlignment: Text.AlignVCenter
            background: Rectangle {
                radius: 12
                color: bar.attention.needsYou ? "#d35400" : bar.palette.highlight
            }
        }

        Column {
            Layout.fillWidth: true
            spacing: 2

            Label {
                width: parent.width
                text: bar.attention.title || ""
                font.bold: true
                wrapMode: Text.Wrap
            }

            Label {
                width: parent.width
                text: bar.attention.detail || ""
                wrapMode: Text.Wrap
                opacity: 0.85
            }
        }

        ShellButton {
            visible: bar.attention.needsYou === true
            text: "Resume"
            Accessible.name: "Resume " + (bar.attention.period || "")
            onClicked: bar.resume()
        }
    }
}
