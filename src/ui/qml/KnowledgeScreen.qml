import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Knowledge: the people and places the index knows, and what was captured at a place.
ScreenPage {
    id: screen

    ColumnLayout {
        anchors.fill: parent
        spacing: 10

        TextField {
            Layout.fillWidth: true
            placeholderText: "Search a place"
            text: screen.screenModel.place
            Accessible.name: "Search a place"
            onTextEdited: screen.screenModel.place = text
        }

        RowList {
            Layout.fillWidth: true
            Layout.fillHeight: true
            screenModel: screen.screenModel
            name: "Items at the place"
        }
    }
}
