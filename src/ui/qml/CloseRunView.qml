import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Where the close of the period stands: its phase among the seven, what it is doing now, its
// steps, what goes to the accountant, a word on the ledger, and once finished what it did.
SurfaceScroll {
    id: view

    required property QtObject close
    required property QtObject sessions

    signal openSurface(string word)

    name: "Close"
    spacing: 10

    EmptyState {
        Layout.fillWidth: true
        Layout.preferredHeight: 240
        visible: !view.close.hasRun
        title: "Nothing for " + view.close.periodLabel + " yet"
        text: "No bookkeeping run has started for this period. Start one now, or step to "
              + "another period above."
        actionText: view.sessions.startText
        onActionTriggered: view.sessions.start()
    }

    ColumnLayout {
        Layout.fillWidth: true
        visible: view.close.hasRun
        spacing: 10

        Label {
            Layout.fillWidth: true
            text: view.close.phaseLabel
            font.bold: true
            font.pointSize: Qt.application.font.pointSize * 1.5
            wrapMode: Text.Wrap
            Accessible.role: Accessible.Heading
            Accessible.name: "Phase: " + text
        }

        Flow {
            Layout.fillWidth: true
            spacing: 6

            Repeater {
                model: view.close.phases

                PhaseChip {}
            }
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: 10

            BusyIndicator {
                Layout.preferredWidth: 22
                Layout.preferredHeight: 22
                visible: view.close.working
                running: visible
                Accessible.name: "Working"
            }

            Label {
                Layout.fillWidth: true
                visible: text.length > 0
                text: view.close.livenessText.length > 0 ? view.close.livenessText : view.close.activity
                wrapMode: Text.Wrap
                font.italic: true
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }

            ShellButton {
                visible: view.close.stopped
                text: "Resume"
                enabled: !view.close.busy
                onClicked: view.close.resume()
            }
        }

        ActionWords {
            Layout.fillWidth: true
            message: view.close.message
            error: view.close.errorText
        }

        SectionHeading {
            visible: view.close.steps.length > 0
            text: "Steps"
        }

        Repeater {
            model: view.close.steps

            StepRow {
                Layout.fillWidth: true
            }
        }

        SectionHeading {
            text: "What goes to your accountant"
        }

        Label {
            Layout.fillWidth: true
            text: view.close.deliverables.length > 0 ? view.close.deliverableCount
                  : "Nothing to gather has been named for these books yet."
            opacity: 0.8
            wrapMode: Text.Wrap
            Accessible.role: Accessible.StaticText
            Accessible.name: text
        }

        Repeater {
            model: view.close.deliverables

            DeliverableRow {
                Layout.fillWidth: true
            }
        }

        SectionHeading {
            text: "Ledger"
        }

        RowLayout {
            Layout.fillWidth: true
            spacing: 10

            Label {
                Layout.fillWidth: true
                text: view.close.ledgerSummary
                wrapMode: Text.Wrap
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }

            ShellButton {
                text: "Open the ledger"
                onClicked: view.openSurface("ledger")
            }
        }

        ColumnLayout {
            Layout.fillWidth: true
            visible: view.close.finished
            spacing: 6

            SectionHeading {
                text: "Done"
            }

            Label {
                Layout.fillWidth: true
                text: view.close.doneSentence
                wrapMode: Text.Wrap
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }

            Label {
                Layout.fillWidth: true
                visible: text.length > 0
                text: view.close.factsLine
                wrapMode: Text.Wrap
                opacity: 0.8
                Accessible.role: Accessible.StaticText
                Accessible.name: text
            }

            Repeater {
                model: view.close.detailSentences

                Label {
                    required property string modelData

                    Layout.fillWidth: true
                    text: "• " + modelData
                    wrapMode: Text.Wrap
                    Accessible.role: Accessible.StaticText
                    Accessible.name: modelData
                }
            }
        }
    }
}
