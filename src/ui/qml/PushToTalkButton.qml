import QtQuick
import QtQuick.Controls
import QtQuick.Layouts
import Mnemora.Voice

// A bare microphone that gives text: hold to record, release to transcribe.
RowLayout {
    id: button

    property alias daemon: model.daemon
    signal transcript(string text)

    spacing: 8

    PushToTalkModel {
        id: model

        onTranscript: text => button.transcript(text)
    }

    MicHoldButton {
        holder: model.holder
        dashed: false
        filled: model.icon === "mic.fill"
        accessibleName: "Push to talk"
        help: "Hold to record, release to transcribe"
    }

    Label {
        text: model.statusLine
        Accessible.name: text
    }

    ShellButton {
        visible: model.canRetry
        text: "↻ Retry"
        Accessible.name: "Retry"
        onClicked: model.retry()
    }
}
