import QtQuick

// Source Data: each source with what it has given.
ScreenPage {
    id: screen

    RowList {
        anchors.fill: parent
        screenModel: screen.screenModel
        name: "Sources"
    }
}
