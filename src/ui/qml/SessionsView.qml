import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The agent sessions alive now, with any usage limit one hit; a way to start the close of the
// period in view, to stop a session, and, when asked for, to watch one in a terminal.
SurfaceScroll {
    id: view

    required property QtObject sessions

    name: "Sessions"
    spacing: 8

    Row {
        spacing: 10

        ShellButton {
            visible: !view.sessions.closeRunning
            enabled: !view.sessions.busy
            text: view.sessions.startText
            onClicked: view.sessions.start()
        }

        ShellButton {
            text: "Refresh"
            onClicked: view.sessions.refresh()
        }
    }

    ActionWords {
        Layout.fillWidth: true
        message: view.sessions.message
        error: view.sessions.errorText
    }

    Label {
        Layout.fillWidth: true
        visible: view.sessions.sessions.length === 0
        text: view.sessions.emptyText
        wrapMode: Text.Wrap
        opacity: 0.8
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    Repeater {
        model: view.sessions.sessions

        CloseSessionRow {
            Layout.fillWidth: true
            sessions: view.sessions
        }
    }

    SectionHeading {
        text: "Watching a session"
    }

    ShellCheckBox {
        Layout.fillWidth: true
        text: view.sessions.showAttachLabel
        checked: view.sessions.showAttach
        onToggled: view.sessions.showAttach = checked
    }

    Label {
        Layout.fillWidth: true
        text: view.sessions.showAttachText
        wrapMode: Text.Wrap
        opacity: 0.8
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
}
