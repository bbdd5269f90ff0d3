import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The brand's sections in the brand's order, with the daemon's state at the foot. Tallo's one
// section is its books, so its sidebar lists the places within them instead: the close, the
// ledger, the review, the letter, the questions and the sessions.
Pane {
    id: sidebar

    required property QtObject shell
    readonly property QtObject tallo: shell.talloShell

    function choose(word) {
        if (tallo)
            tallo.surface = word
        else
            shell.selection = word
    }

    padding: 0
    background: Rectangle {
        color: sidebar.palette.alternateBase

        Rectangle {
            anchors.right: parent.right
            width: 1
            height: parent.height
            color: sidebar.palette.mid
        }
    }

    ColumnLayout {
        anchors.fill: parent
        spacing: 0

        ListView {
            id: sections

            Layout.fillWidth: true
            Layout.fillHeight: true
            Layout.topMargin: 12
            model: sidebar.tallo ? sidebar.tallo.surfaces : sidebar.shell.sidebarItems
            currentIndex: sidebar.tallo ? sidebar.tallo.surfaceIndex : sidebar.shell.selectionIndex
            keyNavigationEnabled: true
            clip: true
            Accessible.role: Accessible.List
            Accessible.name: "Sections"

            delegate: SidebarButton {
                onClicked: sidebar.choose(modelData.word)
            }
        }

        ConflictsLine {
            notice: sidebar.shell.conflicts
            Layout.fillWidth: true
            Layout.leftMargin: 12
            Layout.rightMargin: 12
            Layout.topMargin: 8
        }

        DaemonFooter {
            shell: sidebar.shell
            Layout.fillWidth: true
            Layout.margins: 12
        }
    }
}
