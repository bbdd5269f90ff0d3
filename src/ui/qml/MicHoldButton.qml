import QtQuick
import QtQuick.Controls

// The microphone inside an answer field: hold to record, release to transcribe. Filled while
// listening, drawn with a dashed ring while at rest.
Item {
    id: mic

    required property QtObject holder
    property bool dashed: true
    property bool filled: false
    property string accessibleName: "Hold to speak your answer"
    property string help: "Hold to record, release to transcribe — the words land in the field, nothing is sent"

    implicitWidth: 30
    implicitHeight: 30
    Accessible.role: Accessible.Button
    Accessible.name: accessibleName
    Accessible.description: help
    ToolTip.visible: area.containsMouse && !area.pressed
    ToolTip.text: help
    ToolTip.delay: 800

    Rectangle {
        anchors.fill: parent
        radius: width / 2
        color: mic.filled ? "#d64541" : "transparent"
        border.width: mic.dashed ? 0 : 1
        border.color: palette.mid
    }

    // A dashed ring: short marks around the circle.
    Repeater {
        model: mic.dashed ? 12 : 0

        Rectangle {
            required property int index

            width: 2
            height: 4
            radius: 1
            color: palette.mid
            x: mic.width / 2 - width / 2 + Math.sin(index * Math.PI / 6) * (mic.width / 2 - 2)
            y: mic.height / 2 - height / 2 - Math.cos(index * Math.PI / 6) * (mic.height / 2 - 2)
            rotation: index * 30
        }
    }

    // The microphone: a capsule on a stand.
    Rectangle {
        id: capsule

        x: (mic.width - width) / 2
        y: mic.height * 0.2
        width: mic.width * 0.26
        height: mic.height * 0.4
        radius: width / 2
        color: mic.filled ? "white" : palette.windowText
    }
    Rectangle {
        x: (mic.width - width) / 2
        y: capsule.y + capsule.height + 2
        width: 2
        height: mic.height * 0.16
        color: capsule.color
    }

    MouseArea {
        id: area

        anchors.fill: parent
        hoverEnabled: true
        preventStealing: true
        onPressed: mic.holder.press()
        onReleased: mic.holder.release()
        onCanceled: mic.holder.release()
    }

    Component.onCompleted: holder.requestPermissionIfNeeded()
    Component.onDestruction: holder.release()
}
