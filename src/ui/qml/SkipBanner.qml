import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// The one banner over the processing lists: why recent items were skipped, and the fix.
Frame {
    id: banner

    required property QtObject processing

    visible: processing.bannerTitle.length > 0
    Accessible.role: Accessible.AlertMessage
    Accessible.name: processing.bannerTitle

    RowLayout {
        width: parent.width
        spacing: 12

        ColumnLayout {
            Layout.fillWidth: true
            spacing: 4

            Label {
                Layout.fillWidth: true
                text: banner.processing.bannerTitle
                font.bold: true
                wrapMode: Text.Wrap
            }

            Label {
                Layout.fillWidth: true
                text: banner.processing.bannerText
                wrapMode: Text.Wrap
            }
        }

        ShellButton {
            visible: banner.processing.bannerActionTitle.length > 0
            text: banner.processing.bannerActionTitle
            enabled: banner.processing.bannerActionEnabled
            Accessible.name: text
            onClicked: banner.processing.performBannerAction()
        }
    }
}
