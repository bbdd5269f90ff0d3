import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Processing: why items are skipped, how the daemon is held, the maintenance jobs and the files
// the daemon is working on.
ScreenPage {
    id: screen

    ColumnLayout {
        anchors.fill: parent
        spacing: 12

        SkipBanner {
            Layout.fillWidth: true
            processing: screen.screenModel
        }

        Label {
            Layout.fillWidth: true
            visible: text.length > 0
            text: screen.screenModel.swiftLmNote
            wrapMode: Text.Wrap
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }

        SectionHeading {
            text: "Daemon"
        }

        DaemonControls {
            Layout.fillWidth: true
            processing: screen.screenModel
        }

        SectionHeading {
            text: "Maintenance"
        }

        MaintenanceControls {
            Layout.fillWidth: true
            processing: screen.screenModel
        }

        SectionHeading {
            text: "Recent files"
        }

        Label {
            Layout.fillWidth: true
            visible: text.length > 0
            text: screen.screenModel.schedulerLine
            wrapMode: Text.Wrap
            opacity: 0.8
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }

        RowList {
            Layout.fillWidth: true
            Layout.fillHeight: true
            screenModel: screen.screenModel
            name: "Recent files"
        }
    }
}
