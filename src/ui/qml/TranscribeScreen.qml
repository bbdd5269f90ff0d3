import QtQuick

// Transcribe: voice memos turned into text, with their words.
ScreenPage {
    id: screen

    RowList {
        anchors.fill: parent
        screenModel: screen.screenModel
        name: "Transcripts"
    }
}
