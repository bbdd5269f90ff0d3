import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Tallo's window: the books and period in view, chosen at the top, and below the surface the
// sidebar chose — the close, its ledger, the review of what the run found, the letter, the
// questions or the sessions. Before anything is indexed, or before the first close, it says so.
Pane {
    id: screen

    property QtObject screenModel
    property QtObject shell
    property string title

    padding: 20

    ColumnLayout {
        anchors.fill: parent
        spacing: 10

        DemoMonthCard {
            Layout.fillWidth: true
            offer: screen.screenModel.demoOffer
        }

        Item {
            Layout.fillWidth: true
            Layout.fillHeight: true

            EmptyState {
                anchors.fill: parent
                // The phone's address is worth having before there is anything to close.
                visible: !screen.screenModel.hasRuns && screen.screenModel.empty
                         && screen.screenModel.surface !== "phone"
                title: screen.screenModel.emptyTitle
                text: screen.screenModel.emptyText
                actionText: screen.screenModel.indexed ? screen.screenModel.startText
                            : (screen.screenModel.canOpenDemo ? "Open the demo vault" : "")
                onActionTriggered: screen.screenModel.indexed ? screen.screenModel.startClose()
                                                              : screen.screenModel.openDemo()
            }

            ColumnLayout {
                anchors.fill: parent
                visible: screen.screenModel.hasRuns || !screen.screenModel.empty
                         || screen.screenModel.surface === "phone"
                spacing: 10

                RowLayout {
                    Layout.fillWidth: true
                    spacing: 12

                    ComboBox {
                        Layout.preferredWidth: 260
                        visible: screen.screenModel.books.length > 0
                        model: screen.screenModel.books
                        textRole: "name"
                        valueRole: "slug"
                        currentIndex: screen.screenModel.booksIndex
                        onActivated: screen.screenModel.selectBooks(currentValue)
                        Accessible.name: "Books"
                        // Plain words, not the text field a combo box shows by default: nothing here is
                        // typed.
                        contentItem: Label {
                            leftPadding: 8
                            text: parent.displayText
                            verticalAlignment: Text.AlignVCenter
                            elide: Text.ElideRight
                        }
                    }

                    Item {
                        Layout.fillWidth: true
                    }

                    PeriodStepper {
                        stepper: screen.screenModel.stepper
                        onGo: period => screen.screenModel.goToPeriod(period)
                    }
                }

                AttentionBar {
                    Layout.fillWidth: true
                    attention: screen.screenModel.attention
                    onResume: screen.screenModel.resumeInterrupted()
                }

                StackLayout {
                    Layout.fillWidth: true
                    Layout.fillHeight: true
                    currentIndex: screen.screenModel.surfaceIndex

                    CloseRunView {
                        close: screen.screenModel.close
                        sessions: screen.screenModel.sessions
                        onOpenSurface: word => screen.screenModel.surface = word
                    }

                    LedgerView {
                        close: screen.screenModel.close
                    }

                    ReviewView {
                        close: screen.screenModel.close
                    }

                    LetterView {
                        letter: screen.screenModel.letter
                    }

                    Item {
                        QuestionsInbox {
                            anchors.fill: parent
                            visible: !screen.screenModel.empty
                            inbox: screen.screenModel.inbox
                        }

                        EmptyState {
                            anchors.fill: parent
                            visible: screen.screenModel.empty
                            title: screen.screenModel.questionsEmptyTitle
                            text: screen.screenModel.questionsEmptyText
                        }
                    }

                    SessionsView {
                        sessions: screen.screenModel.sessions
                    }

                    ScrollView {
                        contentWidth: availableWidth

                        CompanionLink {
                            x: 24
                            y: 24
                            width: Math.min(560, parent.width - 48)
                            values: screen.screenModel.companion
                        }
                    }
                }
            }
        }
    }
}
