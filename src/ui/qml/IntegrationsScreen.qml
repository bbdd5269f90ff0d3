import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// AI Integrations: dreamer sessions, the bundled seeds, the tool server's registration and the
// background sessions' settings. A vault window shows only its live sessions.
ScreenPage {
    id: screen

    Flickable {
        id: flick

        anchors.fill: parent
        contentHeight: column.implicitHeight
        clip: true
        boundsBehavior: Flickable.StopAtBounds
        ScrollBar.vertical: ScrollBar {
            Accessible.name: "Integrations scroll bar"
        }

        ColumnLayout {
            id: column

            width: flick.width - 16
            spacing: 10

            Label {
                Layout.fillWidth: true
                text: screen.screenModel.lead
                wrapMode: Text.Wrap
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }

            Label {
                Layout.fillWidth: true
                visible: text.length > 0
                text: screen.screenModel.banner.title ? screen.screenModel.banner.title : ""
                font.bold: true
                Accessible.role: Accessible.Heading
                Accessible.name: text
            }

            Label {
                Layout.fillWidth: true
                visible: text.length > 0
                text: screen.screenModel.banner.text ? screen.screenModel.banner.text : ""
                wrapMode: Text.Wrap
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }

            Label {
                Layout.fillWidth: true
                visible: text.length > 0
                text: screen.screenModel.failureTitle
                font.bold: true
                color: "#d04437"
                Accessible.role: Accessible.AlertMessage
                Accessible.name: text
            }

            Label {
                Layout.fillWidth: true
                visible: text.length > 0
                text: screen.screenModel.message
                wrapMode: Text.Wrap
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }

            SectionHeading {
                text: "Live sessions"
            }

            RowList {
                Layout.fillWidth: true
                Layout.preferredHeight: 160
                screenModel: screen.screenModel
                name: "Live sessions"
                delegate: SessionRow {
                    sessions: screen.screenModel
                }
            }

            ColumnLayout {
                Layout.fillWidth: true
                visible: screen.screenModel.primary
                spacing: 10

                SectionHeading {
                    text: "Dreamer sessions"
                }

                Repeater {
                    model: screen.screenModel.cadences

                    CadenceCard {
                        screenModel: screen.screenModel
                    }
                }

                Loader {
                    Layout.fillWidth: true
                    active: screen.screenModel.primary
                    sourceComponent: ColumnLayout {
                        spacing: 10

                        SeedSection {
                            Layout.fillWidth: true
                            heading: "Skills"
                            kind: "skill"
                            seeds: screen.screenModel.skills
                            screenModel: screen.screenModel
                        }

                        ShellButton {
                            text: "Open a Claude Code session"
                            onClicked: screen.screenModel.launchSeed("custom", "")
                        }

                        SeedSection {
                            Layout.fillWidth: true
                            heading: "Prompts"
                            kind: "prompt"
                            seeds: screen.screenModel.prompts
                            screenModel: screen.screenModel
                        }

                        SeedSection {
                            Layout.fillWidth: true
                            heading: "Sources"
                            kind: "source"
                            seeds: screen.screenModel.sources
                            screenModel: screen.screenModel
                        }
                    }
                }
            }

            SectionHeading {
                text: "Claude Code"
            }

            Label {
                Layout.fillWidth: true
                text: screen.screenModel.registration.title
                wrapMode: Text.Wrap
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }

            Label {
                Layout.fillWidth: true
                visible: text.length > 0
                text: screen.screenModel.registration.text
                wrapMode: Text.Wrap
                opacity: 0.8
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }

            Label {
                Layout.fillWidth: true
                text: screen.screenModel.registration.snippetHeading
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }

            TextArea {
                Layout.fillWidth: true
                readOnly: true
                selectByMouse: true
                text: screen.screenModel.registration.snippet
                font.family: "monospace"
                Accessible.name: "Tool server entry for .mcp.json"
            }

            DreamerSettings {
                Layout.fillWidth: true
                visible: screen.screenModel.primary
                screenModel: screen.screenModel
            }

            CompanionLink {
                Layout.fillWidth: true
                visible: screen.screenModel.primary && !!screen.screenModel.companion.url
                values: screen.screenModel.companion
            }
        }
    }
}
