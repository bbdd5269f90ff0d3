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

    // The desktop's colours, light or dark, in every colour group, in place of the style's own
    // light set.
    palette.active.window: activeColors.window
    palette.active.windowText: activeColors.windowText
    palette.active.base: activeColors.base
    palette.active.alternateBase: activeColors.alternateBase
    palette.active.text: activeColors.text
    palette.active.button: activeColors.button
    palette.active.buttonText: activeColors.buttonText
    palette.active.highlight: activeColors.highlight
    palette.active.highlightedText: activeColors.highlightedText
    palette.active.light: activeColors.light
    palette.active.midlight: activeColors.midlight
    palette.active.mid: activeColors.mid
    palette.active.dark: activeColors.dark
    palette.active.shadow: activeColors.shadow
    palette.active.placeholderText: activeColors.placeholderText
    palette.inactive.window: inactiveColors.window
    palette.inactive.windowText: inactiveColors.windowText
    palette.inactive.base: inactiveColors.base
    palette.inactive.alternateBase: inactiveColors.alternateBase
    palette.inactive.text: inactiveColors.text
    palette.inactive.button: inactiveColors.button
    palette.inactive.buttonText: inactiveColors.buttonText
    palette.inactive.highlight: inactiveColors.highlight
    palette.inactive.highlightedText: inactiveColors.highlightedText
    palette.inactive.light: inactiveColors.light
    palette.inactive.midlight: inactiveColors.midlight
    palette.inactive.mid: inactiveColors.mid
    palette.inactive.dark: inactiveColors.dark
    palette.inactive.shadow: inactiveColors.shadow
    palette.inactive.placeholderText: inactiveColors.placeholderText
    palette.disabled.window: disabledColors.window
    palette.disabled.windowText: disabledColors.windowText
    palette.disabled.base: disabledColors.base
    palette.disabled.alternateBase: disabledColors.alternateBase
    palette.disabled.text: disabledColors.text
    palette.disabled.button: disabledColors.button
    palette.disabled.buttonText: disabledColors.buttonText
    palette.disabled.highlight: disabledColors.highlight
    palette.disabled.highlightedText: disabledColors.highlightedText
    palette.disabled.light: disabledColors.light
    palette.disabled.midlight: disabledColors.midlight
    palette.disabled.mid: disabledColors.mid
    palette.disabled.dark: disabledColors.dark
    palette.disabled.shadow: disabledColors.shadow
    palette.disabled.placeholderText: disabledColors.placeholderText
    // Links: the desktop's accent, lightened on a dark background and deepened on a light one, so
    // they read as clearly as the text around them.
    readonly property bool darkColors: activeColors.base.hslLightness < 0.5
    readonly property color linkShade: darkColors ? Qt.lighter(activeColors.highlight, 1.45)
                                                  : Qt.darker(activeColors.highlight, 1.35)
    palette.active.link: linkShade
    palette.inactive.link: linkShade
    palette.disabled.link: disabledColors.text

    SystemPalette {
        id: activeColors

        colorGroup: SystemPalette.Active
    }

    SystemPalette {
        id: inactiveColors

        colorGroup: SystemPalette.Inactive
    }

    SystemPalette {
        id: disabledColors

        colorGroup: SystemPalette.Disabled
    }

    Shortcut {
        sequence: "Ctrl+K"
        onActivated: window.shell.showCommandBar = true
    }

    // While a migration is due the window stays mounted but disabled under the wizard.
    readonly property bool migrationHeld: window.shell.migrationGate !== null
                                          && window.shell.migrationGate.closed

    RowLayout {
        anchors.fill: parent
        spacing: 0
        visible: !window.shell.opening
        enabled: !window.migrationHeld

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

    // The first run covers the window until it is through.
    Loader {
        anchors.fill: parent
        active: window.shell.firstRun !== null && window.shell.firstRun.isPresented
        sourceComponent: FirstRunScreen {
            view: window.shell.firstRun
        }
    }

    CommandBar {
        shell: window.shell
    }

    Loader {
        active: window.shell.migrationGate !== null
        sourceComponent: MigrationSheet {
            gate: window.shell.migrationGate
            visible: window.migrationHeld
        }
    }
}
