import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// Timeline: indexed items of one kind, newest first, or everything captured at a place.
ScreenPage {
    id: screen

    Connections {
        target: screen.shell

        function onTimelineSearchFocusRequested() {
            search.forceActiveFocus()
        }
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 10

        RowLayout {
            Layout.fillWidth: true
            spacing: 12

            TabBar {
                Accessible.name: "Kind of item"

                Repeater {
                    model: screen.screenModel.kinds

                    TabButton {
                        required property var modelData

                        text: modelData.label
                        width: implicitWidth
                        leftPadding: 14
                        rightPadding: 14
                        checked: screen.screenModel.kind === modelData.word
                        Accessible.name: modelData.label
                        onClicked: screen.screenModel.kind = modelData.word
                    }
                }
            }

            TextField {
                id: search

                Layout.fillWidth: true
                placeholderText: "Search a place"
                text: screen.screenModel.place
                Accessible.name: "Search a place"
                onTextEdited: screen.screenModel.place = text
            }
        }

        RowList {
            Layout.fillWidth: true
            Layout.fillHeight: true
            screenModel: screen.screenModel
            name: "Timeline items"
        }
    }
}
