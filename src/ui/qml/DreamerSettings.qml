import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The background sessions' few settings: how they ask for permission, the hour the daily run
// fires, and whether the raw session can be attached to from the run view.
ColumnLayout {
    id: settings

    required property QtObject screenModel
    readonly property var values: screenModel.settings

    spacing: 6

    SectionHeading {
        text: settings.values.heading
    }

    Repeater {
        model: settings.values.modes

        ColumnLayout {
            id: mode

            required property var modelData

            Layout.fillWidth: true
            spacing: 0

            RadioButton {
                text: mode.modelData.label
                checked: settings.values.mode === mode.modelData.value
                Accessible.name: text
                onClicked: settings.screenModel.setPermissionMode(mode.modelData.value)
            }

            Label {
                Layout.fillWidth: true
                Layout.leftMargin: 32
                text: mode.modelData.text
                wrapMode: Text.Wrap
                opacity: 0.8
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }
        }
    }

    Label {
        Layout.fillWidth: true
        text: settings.values.note
        wrapMode: Text.Wrap
        opacity: 0.8
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    SectionHeading {
        text: "Daily run hour (local time)"
    }

    RowLayout {
        spacing: 12

        SpinBox {
            id: hour

            from: 0
            to: 23
            value: settings.values.hour
            textFromValue: function(value) { return (value < 10 ? "0" : "") + value + ":00" }
            Accessible.name: "Daily run hour"
        }

        ShellButton {
            text: "Save schedule"
            onClicked: settings.screenModel.saveSchedule(hour.value)
        }
    }

    Label {
        Layout.fillWidth: true
        text: "Hour of day the dreamer cron fires. Utility cron runs every hour on the :00 tick and isn't controlled by this setting."
        wrapMode: Text.Wrap
        opacity: 0.8
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    ShellCheckBox {
        text: "Show \"Attach\" button (open the raw session in a terminal)"
        checked: settings.values.showAttach
        onToggled: settings.screenModel.setShowAttach(checked)
    }

    Label {
        Layout.fillWidth: true
        text: "For debugging. When on, the Books run view shows an Attach button that opens the AI session in a terminal. \"Stop\" is always available regardless."
        wrapMode: Text.Wrap
        opacity: 0.8
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }
}
