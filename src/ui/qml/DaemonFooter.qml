import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The daemon's state: what it is doing, and how it is held when that needs saying.
ColumnLayout {
    id: footer

    required property QtObject shell

    spacing: 2

    Label {
        Layout.fillWidth: true
        text: footer.shell.daemonHeadline
        font.bold: true
        wrapMode: Text.Wrap
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    Label {
        Layout.fillWidth: true
        visible: text.length > 0
        text: footer.shell.daemonDetail
        wrapMode: Text.Wrap
        opacity: 0.75
        font.pointSize: Qt.application.font.pointSize * 0.9
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
}
