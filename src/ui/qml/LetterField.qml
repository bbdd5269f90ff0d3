import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One header of the letter: its name in a narrow column, its value beside it.
RowLayout {
    id: field

    property string name
    property string value

    spacing: 12

    Label {
        Layout.preferredWidth: 64
        Layout.alignment: Qt.AlignTop
        text: field.name + ":"
        opacity: 0.7
    }

    Label {
        Layout.fillWidth: true
        text: field.value
        wrapMode: Text.Wrap
        Accessible.role: Accessible.StaticText
        Accessible.name: field.name + ": " + field.value
    }
}
