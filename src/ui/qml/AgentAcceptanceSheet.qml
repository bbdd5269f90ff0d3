import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// What it means to let the agent work as the user, accepted or declined before it does. It
// closes only through its two buttons.
Dialog {
    id: sheet

    property var copy: ({})

    signal accepting()
    signal declining()

    modal: true
    closePolicy: Popup.NoAutoClose
    width: Math.min(parent ? parent.width - 80 : 560, 560)
    anchors.centerIn: parent

    ColumnLayout {
        anchors.fill: parent
        spacing: 10

        Label {
            Layout.fillWidth: true
            text: sheet.copy.opening || ""
            wrapMode: Text.Wrap
            font.bold: true
            Accessible.name: text
        }

        Repeater {
            model: sheet.copy.points || []

            Label {
                required property string modelData
                required property int index

                Layout.fillWidth: true
                text: "• " + modelData
                wrapMode: Text.Wrap
                font.italic: index === sheet.copy.withholdIndex
                Accessible.name: modelData
            }
        }

        Label {
            Layout.fillWidth: true
            visible: text.length > 0
            text: sheet.copy.permissionNote || ""
            wrapMode: Text.Wrap
            opacity: 0.85
            Accessible.name: text
        }

        Label {
            Layout.fillWidth: true
            text: sheet.copy.responsibility || ""
            wrapMode: Text.Wrap
            Accessible.name: text
        }

        Label {
            Layout.fillWidth: true
            text: "<a href=\"" + (sheet.copy.termsUrl || "") + "\">" + (sheet.copy.termsLinkText || "")
                  + "</a>" + (sheet.copy.termsTailText || "")
            textFormat: Text.StyledText
            linkColor: palette.link
            wrapMode: Text.Wrap
            onLinkActivated: link => Qt.openUrlExternally(link)
            Accessible.name: (sheet.copy.termsLinkText || "") + (sheet.copy.termsTailText || "")
        }

        RowLayout {
            Layout.alignment: Qt.AlignRight

            ShellButton {
                text: sheet.copy.declineLabel || ""
                Accessible.name: text
                onClicked: {
                    sheet.declining()
                    sheet.close()
                }
            }

            ShellButton {
                text: sheet.copy.acceptLabel || ""
                highlighted: true
                Accessible.name: text
                onClicked: {
                    sheet.accepting()
                    sheet.close()
                }
            }
        }
    }
}
