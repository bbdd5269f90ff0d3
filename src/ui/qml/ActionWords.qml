import QtQuick
import QtQuick.Controls

// What the last action of a screen did, or the words of its failure.
Column {
    id: words

    property string message
    property string error

    spacing: 2
    visible: message.length > 0 || error.length > 0

    Label {
        width: words.width
        visible: text.length > 0
        text: words.message
        wrapMode: Text.Wrap
        Accessible.role: Accessible.StaticText
        Accessible.name: text
    }

    ErrorLine {
        width: words.width
        text: words.error
    }
}
