import QtQuick

// AI Integrations: the agent sessions live now.
ScreenPage {
    id: screen

    RowList {
        anchors.fill: parent
        screenModel: screen.screenModel
        name: "Live sessions"
        delegate: SessionRow {
            sessions: screen.screenModel
        }
    }
}
