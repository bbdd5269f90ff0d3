import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One window: the primary vault's or a further vault's. Everything it shows comes from `shell`.
ApplicationWindow {
    id: window

    required property QtObject shell

    title: shell.title
    width: Math.max(1040, minimumWidth)
    height: 720
    minimumWidth: shell.minimumWidth
    minimumHeight: shell.minimumHeight

    Shortcut {
        sequence: "Ctrl+K"
        onActivated: window.shell.showCommandBar = true
    }

    RowLayout {
        anchors.fill: parent
        spacing: 0
        visible: !window.shell.opening

        Sidebar {
            shell: window.shell
            Layout.fillHeight: true
            Layout.preferredWidth: 230
        }

        ScreenStack {
            shell: window.shell
            Layout.fillWidth: true
            Layout.fillHeight: true
        }
    }

    OpeningView {
        anchors.fill: parent
        visible: window.shell.opening
        text: window.shell.openingText
    }

    CommandBar {
        shell: window.shell
    }
}
