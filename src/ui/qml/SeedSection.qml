import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One kind of bundled seed: each with what it does for the user and a way to open its session,
// or the words of an empty bundle.
ColumnLayout {
    id: section

    required property QtObject seeds
    required property QtObject screenModel
    required property string kind
    property string heading

    spacing: 6

    SectionHeading {
        text: section.heading
    }

    Label {
        Layout.fillWidth: true
        visible: section.seeds.empty
        text: section.seeds.emptyTitle + "\n" + section.seeds.emptyText
        wrapMode: Text.Wrap
        opacity: 0.8
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    Repeater {
        model: section.seeds.rows

        RowLayout {
            id: seedRow

            required property var modelData

            Layout.fillWidth: true
            spacing: 12

            ColumnLayout {
                Layout.fillWidth: true
                spacing: 2

                Label {
                    Layout.fillWidth: true
                    text: seedRow.modelData.title
                    font.bold: true
                    wrapMode: Text.Wrap
                    Accessible.role: Accessible.StaticText
                    Accessible.name: text
                }

                Label {
                    Layout.fillWidth: true
                    text: seedRow.modelData.description
                    wrapMode: Text.Wrap
                    opacity: 0.8
                    Accessible.role: Accessible.StaticText
                    Accessible.name: text
                }
            }

            ShellButton {
                text: section.kind !== "skill" ? "Open"
                      : (seedRow.modelData.installed ? "Re-run" : "Install")
                Accessible.name: text + " " + seedRow.modelData.title
                onClicked: section.screenModel.launchSeed(section.kind, seedRow.modelData.id)
            }
        }
    }
}
