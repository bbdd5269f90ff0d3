import QtQuick
import QtQuick.Controls

// One phase of a close: done, the current one, or still to come.
Rectangle {
    id: chip

    required property var modelData

    implicitWidth: words.implicitWidth + 20
    implicitHeight: words.implicitHeight + 8
    radius: height / 2
    color: modelData.state === "current" ? palette.highlight : "transparent"
    border.width: 1
    border.color: modelData.state === "next" ? palette.mid : palette.highlight
    opacity: modelData.state === "next" ? 0.6 : 1
    Accessible.role: Accessible.StaticText
    Accessible.name: modelData.label + (modelData.state === "done" ? ", done"
                                        : modelData.state === "current" ? ", now" : "")

    Label {
        id: words

        anchors.centerIn: parent
        text: (chip.modelData.state === "done" ? "✓ " : "") + chip.modelData.label
        color: chip.modelData.state === "current" ? chip.palette.highlightedText
                                                  : chip.palette.windowText
    }
}
