import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The migration wizard over the disabled window: what will happen, the folders to migrate, the
// run's progress and its outcome. When the daemon cannot be reached it says so and offers to
// try again or quit, so nobody is ever held with no way out.
Popup {
    id: sheet

    required property QtObject gate
    readonly property QtObject service: gate.service
    readonly property string phase: service.phase
    readonly property var preview: service.preview
    readonly property bool hasFolders: preview.folders !== undefined && preview.folders.length > 0
    property string chosenFolder: ""

    modal: true
    closePolicy: Popup.NoAutoClose
    anchors.centerIn: Overlay.overlay
    width: Math.min(parent ? parent.width - 80 : 640, 640)
    padding: 24

    onOpened: chosenFolder = preview.recommended !== undefined ? preview.recommended : ""

    ColumnLayout {
        anchors.fill: parent
        spacing: 8

        component Words: Label {
            Layout.fillWidth: true
            wrapMode: Text.Wrap
            visible: text.length > 0
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }

        Label {
            Layout.fillWidth: true
            text: sheet.phase === "complete" ? "Migration complete"
                  : sheet.phase === "failed" ? "Migration failed"
                  : sheet.phase === "running" ? "Migrating…"
                  : "Migration required — complete to continue."
            font.bold: true
            font.pointSize: Qt.application.font.pointSize * 1.25
            wrapMode: Text.Wrap
            Accessible.role: Accessible.Heading
            Accessible.name: text
        }

        // Why nothing can move just now: the daemon's words, with a way forward.
        Words {
            text: sheet.service.lastError
            color: "#d04437"
        }

        ColumnLayout {
            Layout.fillWidth: true
            visible: sheet.phase !== "running" && sheet.phase !== "complete" && sheet.phase !== "failed"
            spacing: 6

            Words {
                text: sheet.service.v3Needed ? "The daemon moves your vault to its new location when it next starts. Keep it running, then check again." : ""
            }
            Words { text: "A one-time migration reorganises your Registry to support multiple identities and cloud sources." }
            Words { text: "What will happen"; font.bold: true }
            Words { text: "This is safe to run — files are moved, never deleted." }
            Words { text: "Your photo and voice-memo folders are moved under Registry/{identity}/cloud/icloud/." }
            Words { text: "You'll choose a primary folder to keep; other folders will be moved to Registry/_unmapped/ so nothing is deleted." }
            Words { text: "Indexing resumes automatically once migration completes." }
            Words {
                text: sheet.preview.needsMigration ? (sheet.hasFolders ? "Review the folders we'll migrate and choose which one contains your primary photo library." : "No source folders detected. We'll just initialise the identity layout.") : ""
            }

            Repeater {
                model: sheet.hasFolders ? sheet.preview.folders : []

                RadioButton {
                    required property var modelData

                    Layout.fillWidth: true
                    checked: sheet.chosenFolder === modelData.name
                    text: modelData.name + (modelData.recommended ? " (recommended)" : "")
                          + " — " + modelData.photos + " photos, " + modelData.voices + " voice memos, "
                          + modelData.captioned + "% captioned, " + modelData.triaged + "% triaged, "
                          + modelData.processed + "% processed, " + modelData.score
                    Accessible.name: text
                    onClicked: sheet.chosenFolder = modelData.name
                }
            }

            Words {
                text: sheet.preview.legacyDirs !== undefined && sheet.preview.legacyDirs.length > 0 ? "Legacy top-level directories: These will be moved into Registry/_unmapped/." : ""
            }

            Words {
                text: sheet.preview.needsMigration ? "Name the identity for your primary library. You can add more later." : ""
            }

            TextField {
                id: identityName

                Layout.fillWidth: true
                visible: sheet.preview.needsMigration === true
                text: sheet.preview.identityDisplayName !== undefined ? sheet.preview.identityDisplayName : ""
                Accessible.name: "Identity name"
            }
        }

        Words {
            text: sheet.phase === "running" ? "Migrating… please leave this window open until finished." : ""
        }

        Words {
            text: sheet.phase === "running" || sheet.phase === "failed" ? sheet.service.phaseMessage : ""
        }

        ProgressBar {
            Layout.fillWidth: true
            visible: sheet.phase === "running"
            indeterminate: sheet.service.progressFraction < 0
            value: Math.max(0, sheet.service.progressFraction)
            Accessible.name: "Migration progress"
        }

        ColumnLayout {
            Layout.fillWidth: true
            visible: sheet.phase === "complete"
            spacing: 6

            Words { text: "Your Registry has been reorganised. Indexing will resume once you close this window." }
            Words { text: "Optional follow-ups"; font.bold: true }
            Words { text: "We can also backfill cloud identifiers, deduplicate, and rename files to stable hash names. These can also be run later from Settings." }
            Words { text: "Cloud identifier follow-ups"; font.bold: true }

            Repeater {
                model: sheet.service.followUpLabels

                ShellButton {
                    required property string modelData
                    required property int index

                    text: modelData
                    onClicked: sheet.service.startFollowUp(index)
                }
            }
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: 8

            Item {
                Layout.fillWidth: true
            }

            ShellButton {
                visible: sheet.phase === "complete"
                text: "Restart indexing"
                onClicked: sheet.service.acknowledge()
            }

            ShellButton {
                visible: sheet.phase === "failed"
                text: "Close"
                onClicked: sheet.service.acknowledge()
            }

            ShellButton {
                visible: sheet.phase !== "running" && sheet.phase !== "complete"
                text: "Try again"
                onClicked: sheet.service.retry()
            }

            ShellButton {
                visible: sheet.phase !== "running" && sheet.phase !== "complete" && sheet.phase !== "failed"
                         && sheet.preview.needsMigration === true
                enabled: !sheet.hasFolders || sheet.chosenFolder.length > 0
                text: "Start migration"
                onClicked: sheet.service.start(sheet.preview.identityId, identityName.text, sheet.chosenFolder)
            }

            ShellButton {
                visible: sheet.phase !== "running"
                text: "Quit"
                onClicked: Qt.quit()
            }
        }
    }
}
