import QtQuick

// The last few levels of the microphone as bars, newest on the right.
Row {
    id: meter

    property var history: []
    property int bars: 12
    property color tint: "#d64541"

    spacing: 3
    Accessible.ignored: true

    Repeater {
        model: meter.bars

        Rectangle {
            required property int index

            readonly property int offset: meter.history.length - meter.bars + index
            readonly property real level: offset >= 0 ? meter.history[offset] : 0

            anchors.verticalCenter: parent.verticalCenter
            width: 3
            height: level < 0 ? 4 : Math.min(level, 1) * 16 + 4
            radius: 1.5
            color: meter.tint
            opacity: Math.min(1.4 * Math.max(level, 0), 1) * 0.55 + 0.45

            Behavior on height {
                NumberAnimation { duration: 60 }
            }
        }
    }
}
