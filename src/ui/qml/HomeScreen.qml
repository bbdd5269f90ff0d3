import QtQuick

// Home: the open questions, each answered, dismissed or joined in place.
ScreenPage {
    id: screen

    RowList {
        anchors.fill: parent
        screenModel: screen.screenModel
        name: "Open questions"
        spacing: 12
        emptyActionText: screen.screenModel.canOpenDemo ? "Open the demo vault" : ""
        onEmptyActionTriggered: screen.screenModel.openDemo()
        delegate: QuestionCard {
            questions: screen.screenModel
        }
    }
}
