import QtQuick

// Life Book: the pieces of the narrative written so far.
ScreenPage {
    id: screen

    RowList {
        anchors.fill: parent
        screenModel: screen.screenModel
        name: "Life Book chapters"
    }
}
