import QtQuick

// Home: the questions inbox, each question answered, dismissed or joined in place.
ScreenPage {
    id: screen

    QuestionsInbox {
        anchors.fill: parent
        visible: !screen.screenModel.empty
        inbox: screen.screenModel.inbox
    }

    EmptyState {
        anchors.fill: parent
        visible: screen.screenModel.empty
        title: screen.screenModel.emptyTitle
        text: screen.screenModel.emptyText
        actionText: screen.screenModel.canOpenDemo ? "Open the demo vault" : ""
        onActionTriggered: screen.screenModel.openDemo()
    }
}
