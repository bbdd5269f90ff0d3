import QtQuick
import QtQuick.Controls
import QtQuick.Layouts

// One paragraph of the letter, with its emphasis and links, as the accountant will read it.
Label {
    required property string modelData

    Layout.fillWidth: true
    // The column gives the width; rich text's own width must not feed back into it.
    Layout.preferredWidth: 1
    // Rich text takes its link colour from a style sheet, not from `linkColor`.
    text: "<style>a { color: " + palette.link + "; }</style>" + modelData
    textFormat: Text.RichText
    wrapMode: Text.Wrap
    color: palette.text
    onLinkActivated: link => Qt.openUrlExternally(link)
    Accessible.role: Accessible.StaticText
    Accessible.name: modelData.replace(/<[^>]*>/g, "")
}
