import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The first run over the whole window: Tallo's conversation (question, gates, read-back) or,
// for the other brands, only the gates. Everything it shows comes from `view`.
Pane {
    id: screen

    required property QtObject view

    padding: 0

    ScrollView {
        id: scroller

        anchors.fill: parent
        contentWidth: availableWidth

        ColumnLayout {
            width: Math.min(scroller.availableWidth - 64, 640)
            x: (scroller.availableWidth - width) / 2
            spacing: 18

            Item { Layout.preferredHeight: 24 }

            Loader {
                Layout.fillWidth: true
                sourceComponent: screen.view.phase === "question" ? question
                               : screen.view.phase === "setup" ? setup
                               : screen.view.phase === "readBack" ? readBack : working
            }

            RowLayout {
                Layout.topMargin: 12
                spacing: 6
                visible: screen.view.phase !== "working"

                Label {
                    text: "Stuck here?"
                    opacity: 0.6
                    Accessible.name: text
                }

                Label {
                    text: "<a href=\"report\">Report a problem</a>"
                    textFormat: Text.StyledText
                    linkColor: palette.link
                    Accessible.role: Accessible.Link
                    Accessible.name: "Report a problem"
                    onLinkActivated: screen.view.reportingProblem = true
                }
            }

            Item { Layout.preferredHeight: 24 }
        }
    }

    Component {
        id: question

        FirstRunQuestion { view: screen.view }
    }

    Component {
        id: setup

        FirstRunSetup { view: screen.view }
    }

    Component {
        id: readBack

        FirstRunReadBack { view: screen.view }
    }

    Component {
        id: working

        ColumnLayout {
            spacing: 12

            BusyIndicator {
                Layout.alignment: Qt.AlignHCenter
                Accessible.name: "Starting"
            }
        }
    }

    AgentAcceptanceSheet {
        parent: Overlay.overlay
        visible: screen.view.acceptanceShown
        copy: screen.view.acceptanceCopy
        onAccepting: screen.view.acceptBrowser()
        onDeclining: screen.view.declineBrowser()
    }

    FirstRunReportSheet {
        parent: Overlay.overlay
        view: screen.view
        visible: screen.view.reportingProblem
    }
}
