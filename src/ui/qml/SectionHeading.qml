import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The heading of a part of a screen.
Label {
    Layout.fillWidth: true
    Layout.topMargin: 6
    font.bold: true
    font.pointSize: Qt.application.font.pointSize * 1.1
    Accessible.role: Accessible.Heading
    Accessible.name: text
}
